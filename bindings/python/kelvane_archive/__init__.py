"""Ranks an archive of photographs, on one machine or on many, and shows what was chosen.

The command is ``kelvane-archive``; docs/scaling.md says how it is used.
"""
