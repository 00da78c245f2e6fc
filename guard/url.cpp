// SPDX-License-Identifier: MIT
#include "guard/url.h"

#include <algorithm>
#include <curl/curl.h>
#include <dlfcn.h>
#include <memory>
#include <mutex>
#include <string_view>

namespace guard {
namespace {

constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";

char lower(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

bool beginsLike(std::string_view url, std::string_view scheme) {
    return url.size() >= scheme.size() &&
           std::equal(scheme.begin(), scheme.end(), url.begin(),
                      [](char expected, char given) { return expected == lower(given); });
}

// No URL reaches a shell; what one would expand even inside quotes is kept away all the same.
bool isPlain(char byte) {
    constexpr std::string_view kExpanded = "\"'`$\\";
    return byte > ' ' && byte <= '~' && kExpanded.find(byte) == std::string_view::npos;
}

// What is asked of libcurl. It is loaded at the first URL and stays: with the thirty libraries that
// it brings along it takes 4 MiB of memory, which a daemon that waits for an offer has no use for.
struct UrlLibrary {
    decltype(&curl_url) newUrl = nullptr;
    decltype(&curl_url_cleanup) release = nullptr;
    decltype(&curl_url_set) set = nullptr;
    decltype(&curl_url_get) get = nullptr;
    decltype(&curl_free) freeText = nullptr;
    decltype(&curl_url_strerror) reasonOf = nullptr;
    std::string whyNot; // empty: it is there
};

template <typename Function>
bool find(void *library, const char *name, Function &function) {
    function = library == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

UrlLibrary loadUrlLibrary() {
    UrlLibrary loaded;
    void *const library = dlopen("libcurl.so.4", RTLD_LAZY | RTLD_LOCAL);
    const bool isWhole = find(library, "curl_url", loaded.newUrl) &&
                         find(library, "curl_url_cleanup", loaded.release) &&
                         find(library, "curl_url_set", loaded.set) &&
                         find(library, "curl_url_get", loaded.get) &&
                         find(library, "curl_free", loaded.freeText) &&
                         find(library, "curl_url_strerror", loaded.reasonOf);
    if (!isWhole) {
        loaded.whyNot = std::string(dlerror()) + "; install libcurl, then start this again";
    }
    return loaded;
}

// As libcurl will read it for the download. Empty: it can be read, else the reason.
std::string whyNotReadable(const std::string &url) {
    static std::mutex loading;
    static UrlLibrary library;
    {
        // What keeps it from being loaded may pass.
        const std::lock_guard alone(loading);
        if (library.reasonOf == nullptr || !library.whyNot.empty()) {
            library = loadUrlLibrary();
        }
    }
    if (!library.whyNot.empty()) {
        return library.whyNot;
    }
    const std::unique_ptr<CURLU, void (*)(CURLU *)> handle(library.newUrl(), library.release);
    const CURLUcode code = library.set(handle.get(), CURLUPART_URL, url.c_str(), 0);
    if (code != CURLUE_OK) {
        return library.reasonOf(code);
    }
    char *host = nullptr;
    const CURLUcode hostCode = library.get(handle.get(), CURLUPART_HOST, &host, 0);
    const std::unique_ptr<char, void (*)(void *)> owner(host, library.freeText);
    return hostCode == CURLUE_OK && *host != '\0' ? std::string() : "no host part in the URL";
}

std::optional<Refusal> checkForm(const char *key, const std::string &url, bool isHttps) {
    const auto odd = std::find_if_not(url.begin(), url.end(), isPlain);
    if (odd != url.end()) {
        return Refusal{
            base::Outcome::urlNotHttp, key,
            "has the character " + quoted({&*odd, 1}) +
                ", expected printable ASCII without blanks and \" ` \\, and ' and $ only behind the "
                "host; anything else percent-encoded"};
    }
    // libcurl would skip more slashes on its way to the host.
    const std::size_t authority = (isHttps ? kHttps : kHttp).size();
    const std::string reason =
        url.compare(authority, 1, "/") == 0 ? "no host part in the URL" : whyNotReadable(url);
    if (!reason.empty()) {
        return Refusal{base::Outcome::urlNotHttp, key, quoted(url) + " cannot be read: " + reason};
    }
    return std::nullopt;
}

// Behind the scheme, up to the path, the query or the fragment.
std::string_view authorityOf(std::string_view url) {
    const std::size_t scheme = url.find("://");
    url.remove_prefix(scheme == std::string_view::npos ? 0 : scheme + 3);
    return url.substr(0, url.find_first_of("/?#"));
}

// Where the scheme is none that is allowed, nobody knows what stands before an @.
bool holdsUser(std::string_view url) {
    const bool isHttp = beginsLike(url, kHttps) || beginsLike(url, kHttp);
    return (isHttp ? authorityOf(url) : url).find('@') != std::string_view::npos;
}

} // namespace

std::string withoutQuotesAndDollars(const std::string &url) {
    const std::string_view authority = authorityOf(url);
    const auto behind = static_cast<std::size_t>(authority.data() - url.data()) + authority.size();
    std::string changed = url.substr(0, behind);
    for (const char byte : std::string_view(url).substr(behind)) {
        changed += byte == '\'' ? "%27" : byte == '$' ? "%24" : std::string(1, byte);
    }
    return changed;
}

std::optional<Refusal> checkUrl(const char *key, const std::string &url, bool allowPlainHttp) {
    // First of all: the other refusals show the URL.
    if (holdsUser(url)) {
        return Refusal{base::Outcome::urlHoldsSecret, key,
                       "has a user name or a password before its host, which would stand in every "
                       "log; expected the host alone"};
    }
    const bool isHttps = url.starts_with(kHttps);
    if (!isHttps && !url.starts_with(kHttp)) {
        // libcurl takes a scheme in any case, but the agent takes only lower-case https for https.
        const bool looksLike = beginsLike(url, kHttps) || beginsLike(url, kHttp);
        return Refusal{looksLike ? base::Outcome::urlAmbiguous : base::Outcome::urlNotHttp, key,
                       quoted(url) + " does not begin with http:// or https://" +
                           (looksLike ? " in lower case" : "")};
    }
    if (auto refusal = checkForm(key, url, isHttps)) {
        return refusal;
    }
    if (!isHttps && url.find("https") != std::string::npos) {
        return Refusal{base::Outcome::urlAmbiguous, key,
                       quoted(url) + " is http but has https in it, which the agent looks for"};
    }
    if (!isHttps && !allowPlainHttp) {
        return Refusal{base::Outcome::plainHttpForbidden, key,
                       quoted(url) + " is plain http, which the configuration forbids"};
    }
    return std::nullopt;
}

} // namespace guard
