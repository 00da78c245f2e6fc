// SPDX-License-Identifier: MIT
// The unit that these files log under.
#pragma once

static constexpr char kUnit[] = "upgrade";
