# SPDX-License-Identifier: MIT
"""The lab: a whole mesh of real nodes on this desk, to watch, to touch and to break.

It stands on the rig. What can be done is one table (operations.py), which the page, the command line
and the description of the interface come from.
"""
