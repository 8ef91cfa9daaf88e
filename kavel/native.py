"""Whether the extension module is there, asked before anything imports it."""

from __future__ import annotations

from kavel.errors import KavelError


def require_core() -> None:
    """Errors: KavelError when the extension module `core` is missing or cannot be loaded."""
    try:
        import core
    except ImportError as error:
        raise KavelError(
            f"the extension module `core` cannot be loaded ({error}); {_ADVICE}"
        ) from error
    # In a checkout the folder of the C++ sources can be imported too, as an empty package.
    if not hasattr(core, "Api"):
        raise KavelError(f"the extension module `core` is not built; {_ADVICE}")


_ADVICE = "install this program, for example with `pip install .` in its checkout"
