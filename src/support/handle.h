// SPDX-License-Identifier: MIT
// Owners for what a call opens: released on every way out, or earlier where the order shows.
#pragma once

#include <cjson/cJSON.h>
#include <curl/curl.h>
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>

namespace ota {

template <typename T, void (*Close)(T *)>
class Handle {
  public:
    Handle() = default;
    explicit Handle(T *resource) : resource_(resource) {}
    ~Handle() { reset(); }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;

    explicit operator bool() const { return resource_ != nullptr; }
    T *get() const { return resource_; }
    T *operator->() const { return resource_; }

    void reset(T *resource = nullptr) {
        if (resource_ != nullptr) {
            Close(resource_);
        }
        resource_ = resource;
    }
    // Gives the resource up without closing it.
    T *release() {
        T *resource = resource_;
        resource_ = nullptr;
        return resource;
    }

  private:
    T *resource_ = nullptr;
};

// Not inlined: the stream of a pipe is closed here too, which the compiler would take for a slip.
[[gnu::noinline]] inline void closeFile(FILE *file) { static_cast<void>(fclose(file)); }
inline void closeDirectory(DIR *directory) { static_cast<void>(closedir(directory)); }
inline void cleanUpTransfer(CURL *handle) { curl_easy_cleanup(handle); }
inline void deleteJson(cJSON *item) { cJSON_Delete(item); }
inline void freeJsonText(char *text) { cJSON_free(text); }
template <typename T>
void freeMemory(T *memory) {
    free(memory);
}

using File = Handle<FILE, closeFile>;
using Directory = Handle<DIR, closeDirectory>;
using TransferHandle = Handle<CURL, cleanUpTransfer>;
using Json = Handle<cJSON, deleteJson>;
using JsonText = Handle<char, freeJsonText>;
template <typename T>
using Memory = Handle<T, freeMemory<T>>;

// What a log line prints of a text that could not be made.
inline const char *textOrEmpty(const JsonText &text) { return text ? text.get() : ""; }

} // namespace ota
