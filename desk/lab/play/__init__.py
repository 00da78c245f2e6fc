# SPDX-License-Identifier: MIT
"""Scenarios: what is done in a lab, what is waited for, and how every node must stand in the end."""
