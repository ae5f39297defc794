# shellcheck shell=sh
# Machines that nothing was installed on: minimal Debian systems in folders of their own; sourced after
# lib.sh. They are made once a fortnight, by debootstrap, and kept as archives in $roots; each use gets
# a fresh copy, which goes when the script ends.

roots=${VELOX_ROOTS:-${XDG_CACHE_HOME:-$HOME/.cache}/velox-wrapper/roots}
root=

# why_no_roots: what keeps this machine from having any; nothing printed when nothing does.
why_no_roots() {
  if [ "$(id -u)" -ne 0 ]; then
    echo "only root can make one"
  elif ! (set_up root) >&2; then
    echo "debootstrap cannot be installed"
  elif ! unshare --mount --pid --fork sh -c 'mount --bind / /mnt && mount -t proc proc /mnt/proc' 2>/dev/null; then
    echo "this system allows no mounts"
  fi
}

# kept NAME: whether its archive is there and not too old.
kept() { [ -n "$(find "$roots/$1.tar" -mtime -14 2>/dev/null)" ]; }

# keep NAME: the current root becomes an archive.
keep() {
  rm -rf "$root"/var/cache/apt/archives/*.deb "$root/src"
  tar -C "$root" -cf "$roots/$1.tar.$$" . && mv "$roots/$1.tar.$$" "$roots/$1.tar"
}

# fresh NAME: $root becomes a fresh copy of that archive.
fresh() {
  discard
  mkdir -p "$roots"
  root=$(mktemp -d "$roots/run.XXXXXX")
  trap discard EXIT
  trap 'exit 129' HUP INT TERM
  chmod 755 "$root"
  [ -z "$1" ] || tar -C "$root" -xf "$roots/$1.tar"
}

discard() {
  [ -z "$root" ] || rm -rf --one-file-system "$root"
  root=
}

# minimal SUITE[-ARCHITECTURE]: $root becomes a minimal Debian with the little that everybody has. The
# host's way to the network goes along.
minimal() {
  kept "$1" || {
    fresh ""
    suite=${1%-*}
    architecture=${1#"$suite"}
    set -- "$1" --variant=minbase --include=git,ca-certificates,sudo "$suite" "$root"
    [ -z "$architecture" ] || set -- "$@" "--arch=${architecture#-}"
    bootstrap "$@"
    apt-config dump | grep -E '^Acquire::(Check-|https?::|Retries|Force)' >"$root/etc/apt/apt.conf.d/90host" || :
    keep "$1"
  }
  fresh "$1"
}

# bootstrap NAME DEBOOTSTRAP'S ARGUMENTS
bootstrap() {
  name=$1
  shift
  quietly "making a minimal $name (once a fortnight)" debootstrap "$@"
}

# take_sources: this tree, without what was built in it, in /src of the root.
take_sources() {
  mkdir -p "$root/src"
  tar --exclude=./build --exclude=./.git -cf - . | tar -C "$root/src" -xf -
}

# inside COMMAND: runs a shell command as root in the root, and ends what it leaves running.
inside() {
  cp -L /etc/resolv.conf "$root/etc/resolv.conf"
  # shellcheck disable=SC2016 # for the inner shell
  unshare --mount --pid --fork --kill-child sh -eu -c '
    mount --bind "$1" "$1"
    mount --rbind /dev "$1/dev"
    mount -t proc proc "$1/proc"
    cd "$1"
    pivot_root . mnt
    umount -l /mnt
    exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root VELOX_STRICT="${VELOX_STRICT-}" \
      sh -eu -c "cd /src 2>/dev/null || :; $2"' sh "$root" "$1"
}
