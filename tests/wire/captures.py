"""Where captures lie: our own, which tests/captures/make.py made, and broadcast ones beside the project."""

from pathlib import Path

_OWN = Path(__file__).resolve().parents[1] / "captures"
_BROADCAST = Path(__file__).resolve().parents[3] / "shared" / "captures"


def own(name):
    return _OWN / name


def broadcast(*names):
    """The paths of those that are there; few clones have any."""
    return [_BROADCAST / name for name in names if (_BROADCAST / name).is_file()]
