# Sourced by the project's scripts: install_missing CALLER PACKAGE... installs the Debian packages
# a script found missing, when it runs as root; otherwise it names them and stops.
install_missing() {
  local caller=$1
  shift
  [ $# -gt 0 ] || return 0
  if [ "$(id -u)" != 0 ]; then
    echo "$caller: missing $*; install them (as root: apt-get install $*)" >&2
    exit 1
  fi
  echo "== Installing $*"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "$@" >/dev/null
}
