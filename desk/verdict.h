// SPDX-License-Identifier: MIT
// Whether a road ended as it should.
#ifndef DESK_VERDICT_H
#define DESK_VERDICT_H

#include "desk/journey.h"

namespace desk {

struct Images {
    const Image &factory; // that ran at the beginning
    const Image &offered;
};

// Throws a Failure that says what is not as it should be.
void checkEnding(const Road &road, const Traveller &traveller, const Witness &witness,
                 const Images &images);

} // namespace desk

#endif
