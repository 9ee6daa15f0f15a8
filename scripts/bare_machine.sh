#!/usr/bin/env bash
# bare_machine.sh [COMMAND...]
# Tries commands of ./dev, as root, each in a Debian 12 of its own that has nothing but what each Debian has, and on a
# clean clone of what is committed here. A command of several words is one argument:
#     scripts/bare_machine.sh demo 'test packages'
# Without arguments it tries all that end by themselves, which takes hours on a small machine. The bare system is made by
# debootstrap and kept in build/bare, or in the directory that PLACE names, as are the logs and the packages. MIRROR names
# another mirror than deb.debian.org.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mirror=${MIRROR:-http://deb.debian.org/debian}
place=${PLACE:-$PWD/build/bare}
all=(help demo build test package 'package windows' 'test packages' 'test fleet' 'test debug' 'test asan'
    'test windows' check coverage 'fuzz 1' sweep 'mutate 3' bench format setup)

fail() {
    echo "bare_machine: $1" >&2
    exit 1
}

[ "$(id -u)" -eq 0 ] || fail 'run it as root'
[ $# -gt 0 ] || set -- "${all[@]}"
command -v debootstrap >/dev/null || apt-get install -y -qq --no-install-recommends debootstrap >/dev/null
mkdir -p "$place/archives/partial"

if [ ! -e "$place/system/.complete" ]; then
    rm -rf "$place/system"
    debootstrap --variant=minbase bookworm "$place/system" "$mirror" >"$place/debootstrap.log" ||
        fail "debootstrap failed; see $place/debootstrap.log"
    echo "deb ${mirror%/debian}/debian-security bookworm-security main" >>"$place/system/etc/apt/sources.list"
    echo force-unsafe-io >"$place/system/etc/dpkg/dpkg.cfg.d/unsafe-io" # it is thrown away in any case
    rm -rf "$place"/system/var/cache/apt/archives/*.deb
    touch "$place/system/.complete"
fi

# Runs a command in the system, in namespaces that take its processes and mounts with them.
try() {
    local root=$1
    shift
    cp /etc/resolv.conf "$root/etc/resolv.conf"
    unshare --mount --pid --fork --kill-child bash -c '
        set -e
        root=$0 archives=$1
        shift
        mount --bind "$root" "$root" # the test of fleets wants a root that is mounted
        cd "$root"
        mount -t proc proc proc
        mount -t sysfs sysfs sys
        mount --rbind /sys/fs/cgroup sys/fs/cgroup
        mount --rbind /dev dev
        mount -t tmpfs tmpfs dev/shm
        mount -t tmpfs tmpfs run
        mount --bind "$archives" var/cache/apt/archives
        exec chroot . env -i HOME=/root TERM=dumb \
            PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin /edgefold/dev "$@"' \
        "$root" "$place/archives" "$@" &
    trap "kill -KILL $!" EXIT # unshare takes no other signal
    local status=0
    wait $! || status=$?
    trap - EXIT
    return $status
}

failed=()
for command in "$@"; do
    root=$(mktemp -d "$place/root.XXXXXX")
    log=$place/${command// /-}.log
    cp -a "$place/system/." "$root"
    git clone -q . "$root/edgefold"
    begin=$SECONDS
    # shellcheck disable=SC2086 # its words are the arguments
    if try "$root" $command >"$log" 2>&1 </dev/null; then
        echo "ok      ./dev $command ($((SECONDS - begin)) s)"
    else
        echo "FAILED  ./dev $command; see $log"
        failed+=("$command")
    fi
    rm -rf --one-file-system "$root"
done
[ ${#failed[@]} -eq 0 ]
