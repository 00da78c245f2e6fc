// SPDX-License-Identifier: MIT
// Manifests signed by an authority's signer, by this code and by OpenSSL alone.
#ifndef TESTS_NODE_SIGNATURE_FIXTURE_H
#define TESTS_NODE_SIGNATURE_FIXTURE_H

#include "fixture.h"
#include "node/signature.h"
#include "signers.h"
#include "tests/support/results.h"

#include <string>
#include <vector>

inline const std::string kText =
    "version=4QZ1.0\nmodel=GW-1000\nsize=5\nsha256=" + std::string(64, 'a') + "\n";

inline std::string bytesOf(CMS_ContentInfo *cms) {
    unsigned char *encoded = nullptr;
    const int size = i2d_CMS_ContentInfo(cms, &encoded);
    std::string bytes(reinterpret_cast<char *>(encoded), static_cast<std::size_t>(size));
    OPENSSL_free(encoded);
    return bytes;
}

class Signature : public InTemporaryDirectory {
  protected:
    Signature() { writeText(anchor_, pemOf(root_.certificate.get())); }

    node::SigningFiles filesOf(const Identity &signer) const {
        writeText(in("key.pem"), pemOf(signer.key.get()));
        writeText(in("signer.pem"), pemOf(signer.certificate.get()));
        return {in("key.pem"), in("signer.pem")};
    }
    std::string signedBy(const Identity &signer, const std::string &text = kText) {
        std::string cms;
        EXPECT_TRUE(took(node::signManifest(text, filesOf(signer)), cms, wrong_)) << wrong_;
        return cms;
    }
    /* What OpenSSL alone makes, also where signManifest would not. */
    static std::string rawSignedBy(const std::vector<const Identity *> &signers,
                                   const EVP_MD *digest = EVP_sha256(), unsigned more = 0) {
        const unsigned flags = CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP | more;
        const node::UniqueBio content = node::readingBio(kText);
        const node::UniqueCms cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags));
        for (const Identity *signer : signers) {
            EXPECT_NE(CMS_add1_signer(cms.get(), signer->certificate.get(), signer->key.get(),
                                      digest, flags),
                      nullptr);
        }
        EXPECT_EQ(CMS_final(cms.get(), content.get(), nullptr, flags), 1);
        return bytesOf(cms.get());
    }
    bool opens(const std::string &cms) { return takes(node::openSignedManifest(cms, anchor_)); }
    bool takes(const base::Result<node::SignedText> &opened) {
        text_ = opened ? opened->text : "";
        signer_ = opened ? opened->signer : "";
        wrong_ = opened ? "" : opened.error().text;
        return static_cast<bool>(opened);
    }
    bool refuses(const std::string &cms, const std::string &reason) {
        const bool opened = opens(cms);
        EXPECT_TRUE(text_.empty() == !opened && signer_.empty() == !opened);
        EXPECT_NE(wrong_.find(reason), std::string::npos) << wrong_;
        EXPECT_EQ(wrong_.find('\n'), std::string::npos) << wrong_;
        return !opened;
    }
    Identity signerOf(CertificatePlan plan) { return issue(plan, &root_); }

    Identity root_ = authority("Root");
    Identity release_ = issue({.name = "Release"}, &root_);
    std::string anchor_ = in("anchor.pem");
    std::string text_;
    std::string signer_;
    std::string wrong_;
};

#endif
