// SPDX-License-Identifier: MIT
// Who follows the banks is told before one changes; who follows the reasons is told why a write or
// an activation failed, and nothing else.
#include "faults.h"
#include "fixture.h"
#include "platform/hooks.h"
#include "platform/nal.h"

#include <cerrno>
#include <filesystem>
#include <vector>

namespace {

std::vector<bool> wholeWhenTold; // the passive bank
std::function<node::BootState()> stateNow;

class Emptied : public OnANode {
  protected:
    Emptied() {
        wholeWhenTold.clear();
        stateNow = [this] { return bootState(); };
        nalOnEmptied([] { wholeWhenTold.push_back(stateNow().of(node::Bank::b).whole); });
    }
    ~Emptied() override { nalOnEmptied(nullptr); }
};

TEST_F(Emptied, IsTheBankOnceItIsMarkedAndBeforeItsFirstByteChanges) {
    open();
    installPassive("2.0.0");
    EXPECT_EQ(wholeWhenTold, std::vector<bool>{false});
    ASSERT_NE(nal_activatePassiveImage(), 0);
    EXPECT_EQ(wholeWhenTold.size(), 1U);
}

TEST_F(Emptied, IsNoBankWhereTheImageIsRefused) {
    open();
    writeText(in("image"), "no image");
    EXPECT_NE(errorsOf([this] { EXPECT_NE(nal_writePassiveImage(in("image").c_str()), 0); }), "");
    EXPECT_TRUE(wholeWhenTold.empty());
}

using base::Reason;

std::vector<Reason> reasonsTold;
std::string sentence;

class Reasons : public OnANode {
  protected:
    Reasons() {
        reasonsTold.clear();
        nalOnReason([](const base::Error &error) {
            reasonsTold.push_back(error.reason);
            sentence = error.text;
        });
    }
    ~Reasons() override { nalOnReason(nullptr); }

    void expectWrite(Reason reason, const std::string &bytes) {
        writeText(in("image"), bytes);
        expectFailure(reason, [this] { return nal_writePassiveImage(in("image").c_str()) == 0; });
    }
    void expectActivation(Reason reason) {
        expectFailure(reason, [] { return nal_activatePassiveImage() != 0; });
    }
    void expectFailure(Reason reason, const std::function<bool()> &call) {
        reasonsTold.clear();
        const std::string errors = errorsOf([&] { EXPECT_FALSE(call()); });
        ASSERT_EQ(reasonsTold.size(), 1U) << errors;
        EXPECT_STREQ(base::rowOf(reasonsTold[0]).name, base::rowOf(reason).name) << sentence;
        EXPECT_NE(errors.find(sentence), std::string::npos) << errors;
    }
};

TEST_F(Reasons, OfAWriteAreTheImagesOrTheBanks) {
    open();
    const std::string image = imageOf(payloadOf(3000), "2.0.0");
    expectWrite(Reason::imageDamaged, image.substr(0, image.size() / 2));
    expectWrite(Reason::wrongModel, imageOf(payloadOf(3000), "2.0.0", "GW-9"));
    expectWrite(Reason::imageTooLarge, imageOf(payloadOf(kBankSize), "2.0.0"));
    std::string damaged = image;
    damaged[10] = static_cast<char>(damaged[10] ^ 1);
    expectWrite(Reason::digestWrong, damaged);
    std::filesystem::remove(in("bank_b"));
    expectWrite(Reason::bankNotWritten, image);
}

TEST_F(Reasons, OfAnImageThatIsNotThereIsThatItCannotBeRead) {
    open();
    expectFailure(Reason::imageUnreadable,
                  [this] { return nal_writePassiveImage(in("none").c_str()) == 0; });
}

TEST_F(Reasons, OfABootStateThatTakesNothingAreItsOwn) {
    open();
    faults::failFrom(faults::Call::write, 1, EIO);
    expectWrite(Reason::bootStateNotWritten, imageOf(payloadOf(3000), "2.0.0"));
}

TEST_F(Reasons, OfAnActivationAreThoseOfTheBankAndOfTheBootState) {
    open();
    expectActivation(Reason::bankNotWhole);
    installPassive("2.0.0");
    damagePassive();
    expectActivation(Reason::bankReadsOther);
    installPassive("2.0.0");
    std::filesystem::remove(statePath_);
    expectActivation(Reason::bootStateUnreadable);
}

TEST_F(Reasons, AreNotToldOfWhatSucceeds) {
    open();
    expectActivation(Reason::bankNotWhole);
    reasonsTold.clear();
    installPassive("2.0.0");
    EXPECT_NE(nal_activatePassiveImage(), 0);
    EXPECT_TRUE(reasonsTold.empty());
    // The bank is needed as it is now; what failed before is forgotten.
    expectWrite(Reason::bankInUse, imageOf(payloadOf(3000), "2.1.0"));
}

} // namespace
