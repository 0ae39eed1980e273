# SPDX-License-Identifier: MIT
"""What scripts/size, scripts/stack and the measurements in bench/ share (docs/footprint.md)."""
