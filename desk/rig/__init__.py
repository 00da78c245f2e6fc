# SPDX-License-Identifier: MIT
"""The rig: whole nodes with their real parts on this machine, and what they speak to.

The demonstration (desk/demo) and the tests of whole nodes (tests/system) stand on it. Nothing here
knows either of them.
"""
