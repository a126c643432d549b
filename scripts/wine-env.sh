# shellcheck shell=bash
# shellcheck disable=SC2034 # the sourcing scripts use what FindWine sets
# Where the two wines and their prefixes are. Sourced by the other scripts.

# Where the prefixes are that tests and checks share.
wineRoot=${QIVM_WINE_ROOT:-$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")/out/wine}

# WinePrefix NAME: prints the folder of one of them.
WinePrefix() { echo "$wineRoot/$1"; }

# ImageBitness PROGRAM.exe: prints x86 or x64, by the machine field of the program's header, 4 bytes
# behind the offset that is stored at 0x3c.
ImageBitness() {
  local header machine
  read -r header < <(od -An -tu4 -j60 -N4 "$1" 2>/dev/null) &&
    read -r machine < <(od -An -tx2 -j$((header + 4)) -N2 "$1" 2>/dev/null)
  case ${machine-} in
    014c) echo x86 ;;
    8664) echo x64 ;;
    *) return 1 ;;
  esac
}

# The directory that holds an unpacked 32-bit wine when the package manager could not install one.
Wine32Root() {
  local cache=${XDG_CACHE_HOME:-~/.cache}
  echo "${QIVM_WINE32_ROOT:-$cache/qivm/wine32}"
}

# FindWine x86|x64: sets wineLoader, wineServer and wineLibraryPath (empty when the system's libraries
# serve) for programs of that bitness; returns 1 when there is no such wine.
FindWine() {
  wineLibraryPath=
  if [ "$1" = x64 ]; then
    wineLoader=/usr/lib/wine/wine64
    wineServer=/usr/lib/wine/wineserver64
  elif [ -x /usr/lib/wine/wine ]; then
    wineLoader=/usr/lib/wine/wine
    wineServer=/usr/lib/wine/wineserver32
    [ -x $wineServer ] || wineServer=/usr/lib/wine/wineserver64
  else
    local root
    root=$(Wine32Root)
    wineLoader=$root/usr/lib/wine/wine
    wineServer=$root/usr/lib/wine/wineserver
    wineLibraryPath=$root/usr/lib/i386-linux-gnu:$root/lib/i386-linux-gnu
    [ -e "$root/.complete" ] || return 1
  fi
  [ -x "$wineLoader" ] && [ -x "$wineServer" ]
}

# Prints the directory with the libraries of 32-bit Windows programs.
Wine32Libraries() {
  local directory=/usr/lib/i386-linux-gnu/wine
  [ -d $directory ] || directory=$(Wine32Root)$directory
  echo "$directory"
}
