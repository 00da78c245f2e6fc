# SPDX-License-Identifier: MIT
"""`ota-desk demo`: a node on this desk, from certificates to verdict, shown step by step."""
