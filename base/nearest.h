// SPDX-License-Identifier: MIT
// What was probably meant.
#ifndef BASE_NEAREST_H
#define BASE_NEAREST_H

#include <span>
#include <string>
#include <string_view>

namespace base {

/* The known word that differs in the fewest letters, whatever their case; empty where none is near.
 */
std::string nearest(std::string_view given, std::span<const std::string> known);

/* "; did you mean X?" of the nearest; empty where none is near. */
std::string didYouMean(std::string_view given, std::span<const std::string> known);

} // namespace base

#endif
