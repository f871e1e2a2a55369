"""python -m fxhost: see fxhost.cli."""
import sys

from .cli import main

sys.exit(main())
