# shellcheck shell=sh
# Machines that nothing was installed on: minimal Debian systems in folders of their own; sourced after
# lib.sh. They are made once a fortnight, by debootstrap, and kept as archives in $roots; each use gets
# a fresh copy, which goes when the script ends. One for another processor runs in an emulator.

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

# why_no_emulator: what keeps this machine from running programs for 64-bit ARM; as above.
why_no_emulator() {
  [ "$(uname -m)" != aarch64 ] || return 0
  (set_up emulator) >&2 || { echo "qemu-user-static cannot be installed"; return 0; }
  formats=/proc/sys/fs/binfmt_misc
  [ -e $formats/register ] || mount -t binfmt_misc binfmt_misc $formats 2>/dev/null || :
  # The first bytes of such a program, which of them count, and that it gets its name as it was called.
  [ -e $formats/qemu-aarch64 ] || printf '%s' \
    ':qemu-aarch64:M::\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00' \
    ':\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff' \
    ":$(command -v qemu-aarch64-static):OCPF" 2>/dev/null >$formats/register || :
  [ -e $formats/qemu-aarch64 ] || echo "this system does not pass programs on to an emulator (binfmt_misc)"
}

# kept NAME: whether its archive is there and not too old.
kept() { [ -n "$(find "$roots/$1.tar" -mtime -14 2>/dev/null)" ]; }

# keep NAME: the current root becomes an archive.
keep() {
  rm -rf "$root"/var/cache/apt/archives/*.deb
  tar -C "$root" -cf "$roots/$1.tar.$$" . && mv "$roots/$1.tar.$$" "$roots/$1.tar"
}

# set_aside FOLDER: moves it out of the current root, for take_back FOLDER in a later one.
set_aside() { mv "$root/$1" "$roots/aside.$$"; }
take_back() { mv "$roots/aside.$$" "$root/$1"; }

# fresh NAME: $root becomes a fresh copy of that archive; without a name, an empty folder.
fresh() {
  discard
  mkdir -p "$roots"
  root=$(mktemp -d "$roots/run.XXXXXX")
  trap leave EXIT
  trap 'exit 129' HUP
  trap 'exit 130' INT
  trap 'exit 143' TERM
  chmod 755 "$root"
  [ -z "$1" ] || tar -C "$root" -xf "$roots/$1.tar"
}

# discard: the root goes. A script that wants to keep something of each has a function last_look.
discard() {
  [ -n "$root" ] || return 0
  ! have last_look || last_look
  rm -rf --one-file-system "$root"
  root=
}

# leave: what this script has not finished goes as well.
leave() {
  discard
  rm -rf --one-file-system "$roots"/*.tar.$$ "$roots/aside.$$"
}

# minimal SUITE[-arm64]: $root becomes a minimal Debian with the little that everybody has.
minimal() {
  kept "$1" || {
    fresh ""
    quietly "making a minimal $1 (once a fortnight)" bootstrap "$1"
    keep "$1"
  }
  fresh "$1"
}

# bootstrap SUITE[-arm64]: fills $root, or fails. The host's way to the network goes along.
bootstrap() {
  suite=${1%-arm64}
  name=$1
  set -- --variant=minbase --include=git,ca-certificates,sudo "$suite" "$root"
  if [ "$suite" = "$name" ] || [ "$(uname -m)" = aarch64 ]; then
    debootstrap "$@" || return 1
  else
    debootstrap --foreign --arch=arm64 "$@" || return 1
    cp "$(command -v qemu-aarch64-static)" "$root/usr/bin/" || return 1
    inside '/debootstrap/debootstrap --second-stage' || return 1
  fi
  apt-config dump | grep -E '^Acquire::(Check-|https?::|Retries|Force)' >"$root/etc/apt/apt.conf.d/90host" || :
}

# take_sources: this tree, without what was built in it, in /src of the root.
take_sources() {
  mkdir -p "$root/src" && tar --exclude=./build --exclude=./.git -cf "$root/src.tar" . &&
    tar -C "$root/src" -xf "$root/src.tar" && rm "$root/src.tar"
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
    exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive \
      VELOX_STRICT="${VELOX_STRICT-}" sh -eu -c "cd /src 2>/dev/null || :; $2"' sh "$root" "$1"
}
