// SPDX-License-Identifier: MIT
// What was probably meant.
#ifndef CLI_NEAREST_H
#define CLI_NEAREST_H

#include <span>
#include <string>
#include <string_view>

namespace otactl {

/* The known word that differs in the fewest letters, whatever their case; empty where none is near.
 */
std::string nearest(std::string_view given, std::span<const std::string> known);

/* "; did you mean X?" of the nearest; empty where none is near. */
std::string didYouMean(std::string_view given, std::span<const std::string> known);

} // namespace otactl

#endif
