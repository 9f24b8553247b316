# shellcheck shell=bash
# Sourced by tests that need a bare system of their own, as root and in a namespace of their own: every mount and every
# process of such a test ends with it.

enter_own_namespace() {
    [ -n "${IN_OWN_NAMESPACE:-}" ] || exec env IN_OWN_NAMESPACE=1 unshare --mount --pid --fork --kill-child "$0" "$@"
}

# make_bare_system RESULTS SUITE [MIRROR]: a bare SUITE with a user "user" in $root; logs go to RESULTS.
make_bare_system() {
    results=$1
    root=$(mktemp -d)
    trap 'umount "$root"/{proc,dev/shm,dev/pts,dev,tmp/.X11-unix} 2>/dev/null || true
        grep -q " $root/" /proc/self/mounts || rm -rf --one-file-system "$root"' EXIT # nothing of ours is mounted there
    mkdir -p "$results"
    : >"$results/apt.log"
    say "making a bare $2"
    chmod 755 "$root"
    debootstrap --variant=minbase "$2" "$root" ${3:+"$3"} >"$results/debootstrap.log"
    cp /etc/resolv.conf /etc/hosts "$root/etc"
    apt-config dump | grep '^Acquire::' >"$root/etc/apt/apt.conf.d/00host"
    mount -t proc proc "$root/proc"
    mount --bind /dev "$root/dev"
    mount --bind /dev/pts "$root/dev/pts"
    mount --bind /dev/shm "$root/dev/shm"
    inside chroot "$root" useradd --create-home user
}

inside() { env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"; }
apt() { inside chroot "$root" apt-get -qq -y -o Dpkg::Use-Pty=0 "$@" >>"$results/apt.log" 2>&1; }
