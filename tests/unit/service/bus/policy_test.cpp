// SPDX-License-Identifier: MIT
// The bus policy that is installed: who may own, call and hear the service.
#include "bus_test.h"

#include <array>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char *kGroup = "daemon"; // of every Debian; a user of the same name is in it
constexpr const char *kDenied = "org.freedesktop.DBus.Error.AccessDenied";
constexpr int kWays = 8; // to speak to the service
constexpr std::uint64_t kLimitUs = 60'000'000;

// The elements of the installed file, for our group.
std::string installedPolicy() {
    std::ifstream file(OTA_BUS_POLICY);
    std::stringstream all;
    all << file.rdbuf();
    std::string text = all.str();
    const std::string placeholder = "@OTA_BUS_GROUP@";
    const auto group = text.find(placeholder);
    const auto begin = text.find("<busconfig>");
    const auto end = text.find("</busconfig>");
    if (group == std::string::npos || begin == std::string::npos || end == std::string::npos) {
        ADD_FAILURE() << "not the policy file: " << OTA_BUS_POLICY;
        return "";
    }
    text = text.substr(0, end).substr(begin + std::string("<busconfig>").size());
    text.replace(text.find(placeholder), placeholder.size(), kGroup);
    return kSystemBusPolicy + text;
}

bool become(const char *user) {
    const passwd *entry = getpwnam(user);
    return entry != nullptr && setgroups(0, nullptr) == 0 &&
           setresgid(entry->pw_gid, entry->pw_gid, entry->pw_gid) == 0 &&
           setresuid(entry->pw_uid, entry->pw_uid, entry->pw_uid) == 0;
}

// In the child, with a connection of its own that waits for each reply.
class Caller {
  public:
    explicit Caller(const std::string &address) {
        sd_bus *bus = nullptr;
        sd_bus_new(&bus);
        bus_.reset(bus);
        sd_bus_set_address(bus, address.c_str());
        sd_bus_set_bus_client(bus, 1);
        sd_bus_start(bus);
    }

    template <typename... Values>
    std::string call(const char *to, const char *path, const char *interface, const char *method,
                     const char *signature, Values... values) {
        sd_bus_error error{};
        sd_bus_message *made = nullptr;
        if (sd_bus_message_new_method_call(bus_.get(), &made, to, path, interface, method) < 0) {
            return "no message";
        }
        const service::BusMessage message(made);
        if (*signature != '\0' && sd_bus_message_append(made, signature, values...) < 0) {
            return "wrong arguments";
        }
        sd_bus_message *reply = nullptr;
        const int result = sd_bus_call(bus_.get(), made, kLimitUs, &error, &reply);
        const service::BusMessage answered(reply);
        const std::string name = error.name == nullptr ? "allowed" : error.name;
        sd_bus_error_free(&error);
        return result < 0 && name == "allowed" ? "failed" : name;
    }
    std::string callService(const char *to, const char *interface, const char *method) {
        return call(to, service::kBusPath, interface, method, "");
    }
    // Every way to say something to the service, one result a line.
    std::string tryEverything(const std::string &uniqueName) {
        const char *service = service::kBusName;
        const char *path = service::kBusPath;
        const char *properties = "org.freedesktop.DBus.Properties";
        std::string all;
        for (const std::string &result :
             {call(service, path, service::kBusInterface, "OfferImage", "syii", "{}", 0, 0, 0),
              call(service, path, service::kBusInterface, "Cancel", "t", std::uint64_t{0}),
              callService(service, service::kBusInterface, "Explain"),
              call(uniqueName.c_str(), path, service::kBusInterface, "TriggerMobileApp", "i", 1),
              call(service, path, properties, "Get", "ss", service::kBusInterface, "Stage"),
              call(service, path, properties, "GetAll", "s", service::kBusInterface),
              callService(service, "org.freedesktop.DBus.Introspectable", "Introspect"),
              callService(service, "org.freedesktop.DBus.Peer", "Ping")}) {
            all += result + "\n";
        }
        return all;
    }
    std::string tryToOwn() {
        return sd_bus_request_name(bus_.get(), service::kBusName, 0) == -EACCES ? "not allowed"
                                                                                : "something else";
    }
    void listen() {
        sd_bus_match_signal(bus_.get(), nullptr, nullptr, service::kBusPath, nullptr, nullptr,
                            count, this);
    }
    // What came before the answer of the bus to one more call.
    int heard() {
        call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", "");
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
        return heard_;
    }

  private:
    static int count(sd_bus_message *, void *self, sd_bus_error *) {
        ++static_cast<Caller *>(self)->heard_;
        return 0;
    }

    service::Bus bus_;
    int heard_ = 0;
};

class BusPolicy : public BusTest {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user; run it as root";
        }
        restricted_ = std::make_unique<PrivateBus>(installedPolicy());
        ASSERT_TRUE(restricted_->start());
        service_ = newService(restricted_->address());
        ASSERT_TRUE(service_->start());
        ASSERT_TRUE(comesTrue([this] { return !events_.empty(); }));
        ASSERT_EQ(events_.front(), "connected");
        client_ = std::make_unique<Client>(loop_.get(), restricted_->address());
        ASSERT_TRUE(arrives(client_->listen()));
        const ReplyRef owner = client_->ownerOf(service::kBusName);
        ASSERT_TRUE(arrives(owner));
        owner_ = owner->content.substr(1, owner->content.size() - 2);
        daemon_.ticket = 1;
    }

    // What the work says in a process of this user, while the service runs here. With `onFirstWord`
    // the work writes to `toParent` and waits at `fromParent` until that is done.
    using Work = std::function<std::string(Caller &, int fromParent, int toParent)>;
    std::string as(const char *user, const Work &work,
                   const std::function<void()> &onFirstWord = nullptr) {
        std::array<int, 2> up{-1, -1};
        std::array<int, 2> down{-1, -1};
        if (pipe(up.data()) != 0 || pipe2(down.data(), O_CLOEXEC) != 0) {
            return "no pipe";
        }
        const pid_t child = fork();
        if (child == 0) {
            std::string result = "cannot become " + std::string(user);
            if (become(user)) {
                Caller caller(restricted_->address());
                result = work(caller, down[0], up[1]);
            }
            const auto written = write(up[1], result.data(), result.size());
            _exit(written == static_cast<ssize_t>(result.size()) ? 0 : 1);
        }
        close(up[1]);
        close(down[0]);
        const std::string said = readAll(up[0], [&] {
            if (onFirstWord) {
                onFirstWord();
                EXPECT_EQ(write(down[1], "!", 1), 1);
            }
        });
        close(up[0]);
        close(down[1]);
        waitpid(child, nullptr, 0);
        return said;
    }

    // Turns the loop meanwhile: the service must answer the child.
    std::string readAll(int fd, const std::function<void()> &onFirstWord) {
        fcntl(fd, F_SETFL, O_NONBLOCK);
        std::string all;
        bool spoken = false;
        EXPECT_TRUE(comesTrue([&] {
            std::array<char, 256> text{};
            const ssize_t got = read(fd, text.data(), text.size());
            if (got <= 0) {
                return got == 0;
            }
            all.append(text.data(), static_cast<std::size_t>(got));
            if (!std::exchange(spoken, true)) {
                onFirstWord();
            }
            return false;
        }));
        return all;
    }

    static std::string everything(const std::string &result) {
        std::string all;
        for (int i = 0; i < kWays; ++i) {
            all += result + "\n";
        }
        return all;
    }

    // The child says that it listens, the service speaks, the child says what it heard.
    std::string heardBy(const char *user) {
        return as(
            user,
            [](Caller &caller, int fromParent, int toParent) {
                caller.listen();
                char go = 0;
                const bool told =
                    write(toParent, "heard ", 6) == 6 && read(fromParent, &go, 1) == 1;
                return told ? std::to_string(caller.heard()) : "no parent";
            },
            [this] {
                EXPECT_TRUE(service_->raiseStatus("{}"));
                daemon_.node.percentage += 1;
                service_->statusChanged();
                EXPECT_EQ(heard().size(), 2U);
            });
    }

    std::unique_ptr<PrivateBus> restricted_;
    std::string owner_;
};

TEST_F(BusPolicy, SomebodyElseIsDeniedEverythingAndReachesNothing) {
    EXPECT_EQ(
        as("nobody", [this](Caller &caller, int, int) { return caller.tryEverything(owner_); }),
        everything(kDenied));
    EXPECT_EQ(as("nobody",
                 [](Caller &caller, int, int) {
                     return caller.call(service::kBusName, service::kBusPath, nullptr,
                                        "TriggerMobileApp", "i", 1);
                 }),
              kDenied);
    EXPECT_TRUE(daemon_.calls.empty());
}

TEST_F(BusPolicy, RootMayCall) {
    EXPECT_EQ(as("root", [this](Caller &caller, int, int) { return caller.tryEverything(owner_); }),
              everything("allowed"));
    EXPECT_EQ(daemon_.calls, (std::vector<std::string>{"offer {} 0 0 0", "cancel 0", "trigger 1"}));
}

TEST_F(BusPolicy, TheGroupMayCall) {
    EXPECT_EQ(as(kGroup, [this](Caller &caller, int, int) { return caller.tryEverything(owner_); }),
              everything("allowed"));
    EXPECT_EQ(daemon_.calls.size(), 3U);
}

TEST_F(BusPolicy, OnlyRootMayOwnTheName) {
    service_.reset();
    for (const char *user : {"nobody", kGroup}) {
        EXPECT_EQ(as(user, [](Caller &caller, int, int) { return caller.tryToOwn(); }),
                  "not allowed")
            << user;
    }
}

TEST_F(BusPolicy, ReportsAreHeardByThoseWhoMayCallAndNobodyElse) {
    EXPECT_EQ(heardBy("nobody"), "heard 0");
    EXPECT_EQ(heardBy(kGroup), "heard 3");
    EXPECT_EQ(heardBy("root"), "heard 3");
}

TEST_F(BusTest, WithoutTheInstalledPolicyTheServiceSaysWhatIsMissing) {
    PrivateBus closed(kSystemBusPolicy);
    ASSERT_TRUE(closed.start());
    service_ = newService(closed.address());
    ASSERT_TRUE(service_->start());
    ASSERT_TRUE(comesTrue([this] { return !events_.empty(); }));
    EXPECT_EQ(events_.front(),
              "refused: bus " + closed.address() +
                  ": the bus does not let this user own the name velmo.otaSwAgent; "
                  "install the bus policy and run the service as root");
}

} // namespace
