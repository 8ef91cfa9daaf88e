"""Where the bundled demo scenes and projects are."""

from __future__ import annotations

import glob
import os
from importlib import resources

from kavel.errors import KavelError


def samples_directory() -> str:
    """The folder of the samples. Errors: KavelError when the installation has none."""
    package = str(resources.files("kavel"))
    # Installed, the samples lie inside the package; in a checkout, beside it.
    for folder in (os.path.join(package, "samples"), os.path.join(package, "..", "samples")):
        if os.path.isfile(os.path.join(folder, "character.glb")):
            return os.path.normpath(folder)
    raise KavelError("the bundled samples are not installed")


def broken_scenes() -> list[str]:
    """The variants of the demo scene that its project must reject."""
    return sorted(glob.glob(os.path.join(glob.escape(samples_directory()), "broken_*.gl*")))
