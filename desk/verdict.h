// SPDX-License-Identifier: MIT
// Whether a road ended as it should.
#ifndef DESK_VERDICT_H
#define DESK_VERDICT_H

#include "desk/demonstration.h"

namespace desk {

// Throws a Failure that says what is not as it should be.
void checkEnding(const Options &options, const Road &road, const Witness &witness,
                 const NodeFolder &node, const Image &image);

} // namespace desk

#endif
