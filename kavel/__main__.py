from __future__ import annotations

import sys

from kavel.cli import main

if __name__ == "__main__":
    sys.exit(main())
