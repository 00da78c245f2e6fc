// SPDX-License-Identifier: MIT
// The home of the precompiled headers that all suites share.
int main() { return 0; }
