// SPDX-License-Identifier: MIT
// The home of the precompiled headers that all rooms share.
