// SPDX-License-Identifier: MIT
// A signed manifest is believed only where one signer of a trusted authority signed just this text.
#include "node/signature.h"

#include "signature_fixture.h"
#include "tests/support/results.h"

#include <cstdlib>
#include <vector>

namespace {

TEST_F(Signature, GivesTheTextBackAndSaysWhoSigned) {
    ASSERT_TRUE(opens(signedBy(release_))) << wrong_;
    EXPECT_EQ(text_, kText);
    EXPECT_EQ(signer_, "CN = Release");
}

TEST_F(Signature, IsMadeByAnRsaKeyToo) {
    EXPECT_TRUE(opens(signedBy(signerOf({.name = "R", .kind = KeyKind::rsa2048})))) << wrong_;
    EXPECT_EQ(signer_, "CN = R");
}

TEST_F(Signature, IsRefusedWhereverABitOfItChanges) {
    const std::string cms = signedBy(release_);
    std::size_t refused = 0;
    for (std::size_t bit = 0; bit < 8 * cms.size(); ++bit) {
        std::string changed = cms;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << (bit % 8)));
        const bool opened = opens(changed);
        EXPECT_FALSE(opened) << "bit " << bit % 8 << " of byte " << bit / 8;
        refused += opened ? 0 : 1;
    }
    EXPECT_EQ(refused, 8 * cms.size());
    RecordProperty("refused", static_cast<int>(refused));
}

TEST_F(Signature, IsRefusedWhereverItIsCutAndWithAnythingBehindIt) {
    const std::string cms = signedBy(release_);
    for (std::size_t size = 0; size < cms.size(); ++size) {
        ASSERT_FALSE(opens(cms.substr(0, size))) << size;
    }
    EXPECT_TRUE(refuses(cms + '\0', "its signature is damaged"));
    EXPECT_TRUE(refuses(std::string(node::kMaxSignature + 1, '0'), "its signature is damaged"));
}

TEST_F(Signature, OfOneManifestDoesNotPassForAnother) {
    std::string cms = signedBy(release_);
    const std::size_t at = cms.find("version=4QZ1.0");
    ASSERT_NE(at, std::string::npos);
    cms.replace(at, 14, "version=4QZ2.0");
    EXPECT_TRUE(refuses(cms, "its signature does not hold"));
}

TEST_F(Signature, OfAStrangeAuthorityIsRefused) {
    const Identity strange = authority("Strange");
    EXPECT_TRUE(refuses(signedBy(issue({.name = "Release"}, &strange)),
                        "its signer (CN = Release) is not of an authority in " + anchor_));
    // A name is nothing.
    const Identity sameName = authority("Root");
    EXPECT_TRUE(refuses(signedBy(issue({.name = "Release"}, &sameName)), "is not of an authority"));
    EXPECT_TRUE(refuses(signedBy(issue({.name = "Alone"})), "is not of an authority"));
}

TEST_F(Signature, MayBeOfAnyAuthorityInTheFile) {
    const Identity next = authority("Next");
    writeText(anchor_, "rotation\n" + pemOf(root_.certificate.get()) + "next:\n" +
                           pemOf(next.certificate.get()));
    EXPECT_TRUE(opens(signedBy(release_))) << wrong_;
    EXPECT_TRUE(opens(signedBy(issue({.name = "Later"}, &next)))) << wrong_;
    writeText(anchor_, pemOf(next.certificate.get()));
    EXPECT_TRUE(refuses(signedBy(release_), "is not of an authority"));
}

TEST_F(Signature, CannotBeCheckedWithoutAReadableAuthority) {
    const std::string cms = signedBy(release_);
    const std::string pem = pemOf(root_.certificate.get());
    writeText(anchor_, "");
    EXPECT_TRUE(refuses(cms, anchor_ + ": holds no certificate in PEM"));
    writeText(anchor_, pem + pem.substr(0, pem.size() / 2));
    EXPECT_TRUE(refuses(cms, anchor_ + ": holds a certificate that cannot be read"));
    anchor_ = in("none");
    EXPECT_TRUE(refuses(cms, anchor_ + ": cannot be opened: No such file"));
    anchor_ = "";
    EXPECT_TRUE(refuses(cms, "its signature cannot be checked"));
}

TEST_F(Signature, IsNotOfWhomThisMachineTrustsOtherwise) {
    const Identity machine = authority("Machine");
    writeText(in("system.pem"), pemOf(machine.certificate.get()));
    ASSERT_EQ(setenv("SSL_CERT_FILE", in("system.pem").c_str(), 1), 0);
    EXPECT_TRUE(refuses(signedBy(issue({.name = "R"}, &machine)), "is not of an authority"));
    unsetenv("SSL_CERT_FILE");
}

TEST_F(Signature, OutlivesItsCertificatesAndAClockThatStandsStill) {
    EXPECT_TRUE(opens(signedBy(signerOf({.name = "Past", .validFrom = -20, .validTo = -10}))))
        << wrong_;
    EXPECT_TRUE(opens(signedBy(signerOf({.name = "Future", .validFrom = 10, .validTo = 20}))))
        << wrong_;
    root_ = issue({.name = "Old",
                   .authority = true,
                   .extendedUse = nullptr,
                   .validFrom = -20,
                   .validTo = -10});
    writeText(anchor_, pemOf(root_.certificate.get()));
    EXPECT_TRUE(opens(signedBy(signerOf({.name = "R"})))) << wrong_;
}

TEST_F(Signature, IsOnlyOfWhoMaySignCode) {
    for (const char *use : {"serverAuth", "emailProtection", "anyExtendedKeyUsage",
                            static_cast<const char *>(nullptr)}) {
        const Identity signer = signerOf({.name = "Other", .extendedUse = use});
        EXPECT_TRUE(refuses(rawSignedBy({&signer}), "has no certificate for code signing"));
    }
    const Identity signer = signerOf({.name = "Other", .use = "critical,keyEncipherment"});
    EXPECT_TRUE(refuses(rawSignedBy({&signer}), ""));
    const Identity both = signerOf({.name = "Both", .extendedUse = "serverAuth,codeSigning"});
    EXPECT_TRUE(opens(rawSignedBy({&both}))) << wrong_;
}

TEST_F(Signature, IsOfExactlyOneSigner) {
    const Identity second = signerOf({.name = "Second"});
    EXPECT_TRUE(refuses(rawSignedBy({&release_, &second}), "it has 2 signers"));
    const std::string cms = rawSignedBy({&release_});
    const auto *at = reinterpret_cast<const unsigned char *>(cms.data());
    const node::UniqueCms nobody(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(cms.size())));
    STACK_OF(CMS_SignerInfo) *const signers = CMS_get0_SignerInfos(nobody.get());
    CMS_SignerInfo *const only = sk_CMS_SignerInfo_pop(signers);
    EXPECT_TRUE(refuses(bytesOf(nobody.get()), "it has 0 signers"));
    sk_CMS_SignerInfo_push(signers, only); // it is freed with the rest
}

TEST_F(Signature, UsesNoWeakDigestAndNoWeakKey) {
    EXPECT_TRUE(opens(rawSignedBy({&release_}))) << wrong_;
    EXPECT_TRUE(opens(rawSignedBy({&release_}, EVP_sha512()))) << wrong_;
    for (const EVP_MD *weak : {EVP_sha1(), EVP_sha224()}) {
        EXPECT_TRUE(refuses(rawSignedBy({&release_}, weak), "an algorithm that is not trusted"));
    }
    const Identity rsa = signerOf({.name = "Rsa", .kind = KeyKind::rsa2048});
    for (const EVP_MD *weak : {EVP_sha1(), EVP_md5()}) {
        EXPECT_TRUE(refuses(rawSignedBy({&rsa}, weak), "an algorithm that is not trusted"));
    }
    const Identity oldCertificate = signerOf({.name = "Old", .digest = "SHA1"});
    EXPECT_TRUE(refuses(signedBy(oldCertificate), "digest algorithm too weak"));
    const Identity smallKey = signerOf({.name = "Small", .kind = KeyKind::rsa1024});
    EXPECT_TRUE(refuses(rawSignedBy({&smallKey}), "its signer's key is RSA of 1024 bits"));
}

TEST_F(Signature, IsOfAnRsaKeyOrANamedCurve) {
    for (const KeyKind kind : {KeyKind::ellipticCurve, KeyKind::p384, KeyKind::p521,
                               KeyKind::rsa2048, KeyKind::rsaPss}) {
        const Identity signer = signerOf({.name = "R", .kind = kind});
        EXPECT_TRUE(opens(rawSignedBy({&signer}, EVP_sha256(), CMS_KEY_PARAM))) << wrong_;
        EXPECT_TRUE(opens(signedBy(signer))) << wrong_;
    }
}

TEST_F(Signature, IsOfNoOtherKindOfKeyWhoeverStandsBehindIt) {
    const std::pair<KeyKind, const char *> kinds[] = {
        {KeyKind::dsa, "its signer's key is DSA,"},
        {KeyKind::secp256k1, "its signer's key is EC on secp256k1,"},
        {KeyKind::spelledCurve, "its signer's key is EC on "},
        {KeyKind::rsaPss1024, "its signer's key is RSA-PSS of 1024 bits,"},
    };
    for (const auto &[kind, reason] : kinds) {
        const Identity signer = signerOf({.name = "Other", .kind = kind});
        const std::string cms = rawSignedBy({&signer}, EVP_sha256(), CMS_KEY_PARAM);
        EXPECT_TRUE(refuses(cms, reason));
        EXPECT_FALSE(takes(node::peekSignedManifest(cms))) << reason;
        EXPECT_FALSE(took(node::signManifest(kText, filesOf(signer)), text_, wrong_)) << reason;
        EXPECT_NE(wrong_.find("a node takes no signature of this key"), std::string::npos)
            << wrong_;
    }
}

TEST_F(Signature, HasSignedAttributesAndTheManifestInside) {
    EXPECT_TRUE(refuses(rawSignedBy({&release_}, EVP_sha256(), CMS_NOATTR), "lacks signed"));
    EXPECT_TRUE(refuses(rawSignedBy({&release_}, EVP_sha256(), CMS_DETACHED), "is not CMS"));
    EXPECT_TRUE(refuses(rawSignedBy({&release_}, EVP_sha256(), CMS_NOCERTS), "does not hold"));
    const node::UniqueBio content = node::readingBio(kText);
    const node::UniqueCms plain(CMS_data_create(content.get(), CMS_BINARY));
    EXPECT_TRUE(refuses(bytesOf(plain.get()), "is not CMS"));
}

TEST_F(Signature, MayNameItsSignerByKeyIdentifier) {
    // Only a certificate that has one can be named so.
    const std::string command =
        "cd " + in(".") +
        " && openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=Pinned -keyout k -out anchor.pem "
        "-addext extendedKeyUsage=codeSigning -addext keyUsage=digitalSignature >log 2>&1"
        " && printf x >text && openssl cms -sign -keyid -binary -nodetach -outform DER -signer "
        "anchor.pem -inkey k -in text -out cms -nosmimecap";
    ASSERT_EQ(std::system(command.c_str()), 0) << readText(in("log"));
    // A signer that stands in the file itself needs no authority.
    EXPECT_TRUE(opens(readText(in("cms")))) << wrong_;
    EXPECT_EQ(text_, "x");
}

TEST_F(Signature, WithoutAnAuthorityIsWholeButNobodys) {
    const Identity strange = authority("Strange");
    std::string cms = signedBy(issue({.name = "Anybody"}, &strange));
    EXPECT_TRUE(takes(node::peekSignedManifest(cms))) << wrong_;
    EXPECT_EQ(text_, kText);
    EXPECT_EQ(signer_, "CN = Anybody");
    cms[cms.find("4QZ1.0")] = '5';
    EXPECT_FALSE(takes(node::peekSignedManifest(cms)));
}

TEST_F(Signature, ShowsANameWithoutControlCharactersAndNeverAnEmptyOne) {
    ASSERT_TRUE(opens(signedBy(signerOf({.name = "a\x1b[31m\n\xc3\xbc"})))) << wrong_;
    EXPECT_EQ(signer_, "CN = a\\1B[31m\\0A\\C3\\BC");
    ASSERT_TRUE(opens(signedBy(signerOf({.name = ""})))) << wrong_;
    EXPECT_EQ(signer_, "(no name)");
}

} // namespace
