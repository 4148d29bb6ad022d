"""The programs under test: those of build/, or of the folder that IPV6CTL_BUILD names."""
import os
import pathlib

import pytest

TREE = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(scope="session")
def build():
    folder = pathlib.Path(os.environ.get("IPV6CTL_BUILD", TREE / "build")).resolve()
    for name in ("ipv6ctl", "ccfg_cli", "ipv6status"):
        if not (folder / name).exists():
            pytest.exit(f"{folder / name} is missing: build first, or set IPV6CTL_BUILD", returncode=3)
    return folder
