"""Which objects a change can matter to."""

from __future__ import annotations

from collections.abc import Mapping


class Region:
    """Objects, with all that stands above and below them.

    `parents` gives the parent of each path of the scene, none for top objects.
    """

    def __init__(self, parents: Mapping[str, str | None]) -> None:
        self._parents = parents
        self._changed: set[str] = set()
        self._above: set[str] = set()

    def add(self, path: str) -> None:
        """A path that is no object's, such as the scene's file, is left out."""
        if path not in self._parents:
            return
        self._changed.add(path)
        above: str | None = path
        while above is not None and above not in self._above:
            self._above.add(above)
            above = self._parents[above]

    def __contains__(self, path: str) -> bool:
        if path in self._above:
            return True
        above = self._parents.get(path)
        while above is not None:
            if above in self._changed:
                return True
            above = self._parents[above]
        return False
