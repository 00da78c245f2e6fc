// SPDX-License-Identifier: MIT
// What is signed holds, here and for other programs, and nothing is signed that would not.
#include "signature_fixture.h"
#include "tests/support/results.h"

#include <cstdlib>

namespace {

class SignatureChain : public Signature {
  protected:
    /* A manifest signed by a signer of this issuer, which is of the root. */
    std::string signedBelow(const Identity &issuer, bool enclosed = true) {
        node::SigningFiles files = filesOf(issue({.name = "Below"}, &issuer));
        if (enclosed) {
            writeText(in("chain.pem"), pemOf(issuer.certificate.get()));
            files.chain = in("chain.pem");
        }
        std::string cms;
        EXPECT_TRUE(took(node::signManifest(kText, files), cms, wrong_)) << wrong_;
        return cms;
    }
};

TEST_F(SignatureChain, EnclosesWhatStandsBetweenSignerAndAuthority) {
    const Identity team = authority("Team", &root_);
    EXPECT_TRUE(opens(signedBelow(team))) << wrong_;
    EXPECT_TRUE(refuses(signedBelow(team, false), "is not of an authority"));
    // The certificate's own file may hold them too.
    const Identity signer = issue({.name = "Below"}, &team);
    const node::SigningFiles files = filesOf(signer);
    writeText(in("signer.pem"), pemOf(signer.certificate.get()) + pemOf(team.certificate.get()) +
                                    pemOf(team.certificate.get()));
    std::string cms;
    ASSERT_TRUE(took(node::signManifest(kText, files), cms, wrong_)) << wrong_;
    EXPECT_TRUE(opens(cms)) << wrong_;
}

TEST_F(SignatureChain, EndsAtTheFileThoughItsAuthorityHasAnIssuer) {
    const Identity team = authority("Team", &root_);
    writeText(anchor_, pemOf(team.certificate.get()));
    EXPECT_TRUE(opens(signedBelow(team, false))) << wrong_;
    EXPECT_TRUE(refuses(signedBy(release_), "is not of an authority"));
}

TEST_F(SignatureChain, HasOnlyAuthoritiesForCodeInIt) {
    const Identity noAuthority = signerOf({.name = "Signer"});
    EXPECT_TRUE(refuses(signedBelow(noAuthority), "is not of an authority"));
    const Identity forServers =
        signerOf({.name = "Servers", .authority = true, .extendedUse = "serverAuth"});
    EXPECT_TRUE(
        refuses(signedBelow(forServers), "issuer (CN = Servers) is no authority for code signing"));
    const Identity forCode = signerOf({.name = "Code", .authority = true});
    EXPECT_TRUE(opens(signedBelow(forCode))) << wrong_;
}

class Signing : public Signature {
  protected:
    bool isRefused(const node::SigningFiles &files, const std::string &reason) {
        std::string cms = "untouched";
        const bool made = took(node::signManifest(kText, files), cms, wrong_);
        EXPECT_EQ(cms == "untouched", !made);
        EXPECT_NE(wrong_.find(reason), std::string::npos) << wrong_;
        EXPECT_EQ(wrong_.find('\n'), std::string::npos) << wrong_;
        return !made;
    }
};

TEST_F(Signing, NeedsAKeyThatItCanRead) {
    const node::SigningFiles files = filesOf(release_);
    EXPECT_TRUE(isRefused({in("none"), files.certificate}, in("none") + ": cannot be opened"));
    EXPECT_TRUE(isRefused({files.certificate, files.certificate}, "holds no private key in PEM"));
    writeText(in("locked.pem"), pemOf(release_.key.get(), "secret"));
    EXPECT_TRUE(isRefused({in("locked.pem"), files.certificate}, "the key has a passphrase"));
}

TEST_F(Signing, NeedsCertificatesThatItCanRead) {
    node::SigningFiles files = filesOf(release_);
    EXPECT_TRUE(isRefused({files.key, in("none")}, in("none") + ": cannot be opened"));
    EXPECT_TRUE(isRefused({files.key, files.key}, "holds no certificate in PEM"));
    files.chain = files.key;
    EXPECT_TRUE(isRefused(files, "holds no certificate in PEM"));
}

TEST_F(Signing, RefusesWhatNoNodeWouldBelieve) {
    const node::SigningFiles files = filesOf(release_);
    writeText(in("other.pem"), pemOf(root_.certificate.get()));
    EXPECT_TRUE(isRefused({files.key, in("other.pem")}, "(CN = Root) is not of the key"));
    EXPECT_TRUE(isRefused(filesOf(root_), "(CN = Root) is not for code signing"));
    EXPECT_TRUE(isRefused(filesOf(signerOf({.name = "Small", .kind = KeyKind::rsa1024})),
                          "a node takes no signature of this key (RSA of 1024 bits)"));
}

TEST_F(Signing, ByAnEdwardsCurveIsRefused) {
    EXPECT_TRUE(isRefused(filesOf(signerOf({.name = "Ed", .kind = KeyKind::ed25519})),
                          "a node takes no signature of this key (ED25519)"));
    // An authority on such a curve issues certificates all the same.
    root_ =
        issue({.name = "Ed", .authority = true, .extendedUse = nullptr, .kind = KeyKind::ed25519});
    writeText(anchor_, pemOf(root_.certificate.get()));
    EXPECT_TRUE(opens(signedBy(signerOf({.name = "R"})))) << wrong_;
}

class WithTheOpensslCommand : public Signature {
  protected:
    bool openssl(const std::string &arguments) {
        const std::string command = "cd " + in(".") + " && openssl " + arguments + " >>log 2>&1";
        return std::system(command.c_str()) == 0;
    }
};

TEST_F(WithTheOpensslCommand, WhatWasSignedHereIsVerifiedThere) {
    writeText(in("cms"), signedBy(release_));
    EXPECT_TRUE(openssl("cms -verify -inform DER -in cms -purpose any -CAfile anchor.pem -binary "
                        "-out text"))
        << readText(in("log"));
    EXPECT_EQ(readText(in("text")), kText);
}

TEST_F(WithTheOpensslCommand, WhatWasSignedThereIsBelievedHere) {
    writeText(in("text"), kText);
    const std::string sign = "cms -sign -binary -nodetach -outform DER -signer signer.pem -inkey "
                             "key.pem -in text -out cms ";
    filesOf(release_);
    ASSERT_TRUE(openssl(sign)) << readText(in("log"));
    EXPECT_TRUE(opens(readText(in("cms")))) << wrong_;
    EXPECT_EQ(text_, kText);
    filesOf(signerOf({.name = "Rsa", .kind = KeyKind::rsa2048}));
    for (const char *more : {"-md sha384", "-keyopt rsa_padding_mode:pss"}) {
        ASSERT_TRUE(openssl(sign + more)) << readText(in("log"));
        EXPECT_TRUE(opens(readText(in("cms")))) << more << ": " << wrong_;
        EXPECT_EQ(text_, kText);
    }
}

} // namespace
