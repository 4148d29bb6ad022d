"""Settings that others change while a transaction is open, on the file systems that a gateway may have."""
import pytest

from conftest import CLI, DRIVER

FOLLOW = """
set -eu
mkdir "$1/lower" "$1/disk" "$1/seen"
mount -t tmpfs none "$1/disk"
mkdir "$1/disk/upper" "$1/disk/work"
case $2 in
below) filled=$1/lower ;;       # as the read-only image of a device brings it
*) filled=$1/disk/upper ;;
esac
echo a@b=1 | TESA_STORE=$filled/ccfg.db "$3" import
case $2 in
memory) TESA_STORE=$filled/ccfg.db ;;
*)
    mount -t overlay none -o "lowerdir=$1/lower,upperdir=$1/disk/upper,workdir=$1/disk/work" "$1/seen"
    TESA_STORE=$1/seen/ccfg.db
    ;;
esac
export TESA_STORE
exec "$4" follow "$3" 5
"""


@pytest.mark.parametrize("place", ["memory", "above", "below"])
def test_a_change_by_another_is_seen_on(store, tmp_path, place):
    starter = ["unshare", "--mount", "sh", "-c", FOLLOW, "follow", tmp_path, place, CLI, DRIVER]
    assert store.run(starter) == (0, b"", b"")
