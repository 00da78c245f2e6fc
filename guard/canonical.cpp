// SPDX-License-Identifier: MIT
#include "guard/canonical.h"

#include <new>

namespace guard {
namespace {

void demand(const void *made) {
    if (made == nullptr) {
        throw std::bad_alloc();
    }
}

} // namespace

CanonicalObject::CanonicalObject() : object_(cJSON_CreateObject()) { demand(object_.get()); }

void CanonicalObject::add(const char *key, const std::string &text) {
    demand(cJSON_AddStringToObject(object_.get(), key, text.c_str()));
}

void CanonicalObject::add(const char *key, int number) {
    demand(cJSON_AddNumberToObject(object_.get(), key, number));
}

std::string CanonicalObject::text() const {
    const base::JsonText printed(cJSON_PrintUnformatted(object_.get()));
    demand(printed.get());
    return printed.get();
}

} // namespace guard
