// SPDX-License-Identifier: MIT
// GnuTLS, which libcurl brings along for protocols that no download uses, does not start by itself.

// The hook that the library documents for programs which do not call it. Whoever does call it
// through libcurl initialises it first.
extern "C" int _gnutls_global_init_skip();              // NOLINT: the library's name for it
extern "C" int _gnutls_global_init_skip() { return 1; } // NOLINT
