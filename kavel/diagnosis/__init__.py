"""Why nothing in a scene matched: where it departs from the project's pattern.

Everything is asked of the core, level by level, with the steps of its own layer search. What the
core accepts is therefore never told as a departure, and nothing is guessed about its rules. Only
the hints, which object comes nearest to a missing one, compare texts.
"""

from __future__ import annotations

from kavel.diagnosis.departure import Bound, Candidate, Departure, Diagnosis, Item, Reason
from kavel.diagnosis.scene import diagnose

__all__ = ["Bound", "Candidate", "Departure", "Diagnosis", "Item", "Reason", "diagnose"]
