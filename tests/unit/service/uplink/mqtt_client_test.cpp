// SPDX-License-Identifier: MIT
// Whom a node believes to be the root's broker, and whom the broker lets speak.
#include "root_fixture.h"

#include <cstdlib>
#include <fstream>

namespace {

class Trust : public RootTest {
  protected:
    // The failure of a report over this broker and configuration; nobody may have got it.
    std::string failure(const service::RootConfig &config) const {
        const auto extender = this->extender(config);
        const std::string answer = answerTo(*extender, Kind::report, report());
        EXPECT_FALSE(extender->link->connected());
        EXPECT_TRUE(extender->connections.empty());
        return answer;
    }
    void expectIn(const std::string &part, const std::string &line) const {
        EXPECT_NE(line.find(part), std::string::npos) << line;
    }
};

TEST_F(Trust, IsNotGivenToACertificateOfAnotherAuthority) {
    Broker broker(folder());
    broker.start();
    makeAuthority(folder(), "other");
    service::RootConfig wrong = config(broker.port());
    wrong.caCertificate = folder() / "other.pem";
    const std::string line = failure(wrong);
    expectIn("certificate verify failed", line);
    expectIn("[root] ca_certificate", line);
}

TEST_F(Trust, IsNotGivenToTheCertificateOfAnotherHost) {
    makeCertificate(folder(), "ca", "elsewhere", "127.0.0.1", "DNS:elsewhere.example");
    Broker broker(folder(), "elsewhere");
    broker.start();
    expectIn("certificate", failure(config(broker.port())));
}

TEST_F(Trust, FollowsTheNameThatIsConfigured) {
    makeCertificate(folder(), "ca", "named", "nobody", "DNS:localhost");
    Broker broker(folder(), "named");
    broker.start();
    service::RootConfig byName = config(broker.port());
    byName.host = "localhost";
    const auto extender = this->extender(byName);
    EXPECT_TRUE(turn({extender.get()}, [&] { return extender->link->connected(); }))
        << extender->link->problem();
}

TEST_F(Trust, ReachesABrokerThatTakesTheNewestTlsOnly) {
    Broker broker(folder());
    broker.configure("allow_anonymous true\ntls_version tlsv1.3\n");
    broker.start();
    const auto extender = this->extender(config(broker.port()));
    EXPECT_TRUE(turn({extender.get()}, [&] { return extender->link->connected(); }))
        << extender->link->problem();
}

TEST_F(Trust, NeedsTheFilesOfTheConfiguration) {
    service::RootConfig without = config(freePort());
    without.caCertificate = folder() / "missing.pem";
    expectIn("cannot be read", failure(without));
}

TEST_F(Trust, DoesNotAskForThePassPhraseOfAKey) {
    Broker broker(folder());
    broker.configure("allow_anonymous true\nrequire_certificate true\n");
    broker.start();
    makeCertificate(folder(), "ca", "node", kExtender, "DNS:node");
    const std::string lock = "cd '" + folder().string() +
                             "' && " OTA_OPENSSL " ec -in node.key -aes128 -passout pass:secret "
                             "-out locked.key 2>openssl.log";
    ASSERT_EQ(std::system(lock.c_str()), 0);
    service::RootConfig locked = config(broker.port());
    locked.certificate = folder() / "node.pem";
    locked.key = folder() / "locked.key";
    expectIn("[root] certificate and key", failure(locked));
}

// The broker as docs/root.md sets it up: a node's certificate names its MAC address.
class Rights : public Trust {
  protected:
    Rights() : broker_(folder()) {
        std::ofstream(folder() / "acl") << "user gateway\ntopic read otaSwAgent/#\n"
                                           "pattern write otaSwAgent/%u/report\n"
                                           "pattern write otaSwAgent/%u/file-server\n";
        broker_.configure("tls_version tlsv1.2\nrequire_certificate true\n"
                          "use_identity_as_username true\nuse_username_as_clientid true\n"
                          "message_size_limit 65536\nmax_packet_size 69632\nacl_file " +
                          (folder() / "acl").string() + "\n");
        broker_.start();
        makeCertificate(folder(), "ca", "extender", kExtender, "DNS:node");
        makeCertificate(folder(), "ca", "gateway", "gateway", "DNS:node");
    }
    service::RootConfig configOf(const std::string &certificate) const {
        service::RootConfig with = config(broker_.port());
        with.certificate = folder() / (certificate + ".pem");
        with.key = folder() / (certificate + ".key");
        return with;
    }

    Broker broker_;
};

TEST_F(Rights, LetANodeSpeakForItself) {
    const auto gateway = this->gateway(configOf("gateway"));
    ASSERT_TRUE(turn({gateway.get()}, [&] { return gateway->link->connected(); }))
        << gateway->link->problem();
    const auto extender = this->extender(configOf("extender"));
    EXPECT_EQ(answerTo(*extender, Kind::report, report()), "");
    EXPECT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
}

TEST_F(Rights, DoNotLetANodeSpeakForAnother) {
    const auto gateway = this->gateway(configOf("gateway"));
    ASSERT_TRUE(turn({gateway.get()}, [&] { return gateway->link->connected(); }))
        << gateway->link->problem();
    const auto impostor = extender(configOf("extender"), times(), "02:00:00:00:00:0B");
    expectIn("it refuses \"otaSwAgent/02:00:00:00:00:0B/report\"",
             answerTo(*impostor, Kind::report, report("02:00:00:00:00:0B")));
    turnFor({gateway.get()}, milliseconds(200));
    EXPECT_TRUE(gateway->taken.empty());
}

TEST_F(Rights, DoNotLetANodeTakeOverTheSessionOfAnother) {
    const auto gateway = this->gateway(configOf("gateway"));
    ASSERT_TRUE(turn({gateway.get()}, [&] { return gateway->link->connected(); }))
        << gateway->link->problem();
    Node thief; // with the gateway's client id
    thief.link = std::make_unique<service::RootLink>(configOf("extender"), "node-gateway",
                                                     kExtender, false, times());
    ASSERT_TRUE(turn({&thief, gateway.get()}, [&] { return thief.link->connected(); }))
        << thief.link->problem();
    thief.publish(Kind::report, report());
    ASSERT_TRUE(turn({&thief, gateway.get()},
                     [&] { return !gateway->taken.empty() && !thief.answers.empty(); }));
    EXPECT_EQ(thief.answers, std::vector<std::string>{""});
    EXPECT_EQ(gateway->connections, std::vector<bool>{true}) << "its session was taken over";
}

TEST_F(Rights, AreNotToBeHadWithoutACertificate) {
    expectIn("check", failure(config(broker_.port())));
}

} // namespace
