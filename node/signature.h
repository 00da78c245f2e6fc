// SPDX-License-Identifier: MIT
// Manifests signed and checked: CMS with the manifest inside, by certificates of one authority.
#ifndef NODE_SIGNATURE_H
#define NODE_SIGNATURE_H

#include "base/result.h"

#include <cstddef>
#include <string>

namespace node {

/* Which images a node believes. */
struct ImageTrust {
    bool signatureRequired = true; // an unsigned image is refused
    std::string authority{}; // PEM file of the certificates that signers chain to; empty: none
};

/* What a signer signs with: PEM files. */
struct SigningFiles {
    std::string key;         // private, without a passphrase; RSA or elliptic curve
    std::string certificate; // the signer's own first; others that stand behind it travel along
    std::string chain{};     // more certificates to travel along; empty: none
};

inline constexpr std::size_t kMaxSignature = 64 * 1024; // bytes, certificates and manifest included

/* What a signature holds. */
struct SignedText {
    std::string text;
    std::string signer; // the subject, in printable ASCII and never empty
};

/* The errors name the files of the caller. The calls block for no longer than reading these takes.
 */

/* SignedData in DER with the text attached, by SHA-256. */
base::Result<std::string> signManifest(const std::string &manifestText, const SigningFiles &files);

/*
 * Checks that one signer signed the text, may sign code, and chains to a certificate of the file
 * `authority`; no other certificate of this machine counts. Times are not looked at: a node's clock
 * may stand at 1970, and an image must stay installable when its signer's certificate ran out.
 */
base::Result<SignedText> openSignedManifest(const std::string &cms, const std::string &authority);

/* The same without an authority: the text is whole, but anybody may be the signer. */
base::Result<SignedText> peekSignedManifest(const std::string &cms);

} // namespace node

#endif
