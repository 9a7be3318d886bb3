# shellcheck shell=bash disable=SC2154  # here is dc's
# The Debian packages that the domain controller needs.

# shellcheck source=../../../scripts/packages.sh
. "$here/../../scripts/packages.sh"

serverPackages=(
  samba samba-ad-dc samba-ad-provision samba-dsdb-modules samba-vfs-modules winbind
  ldb-tools python3-samba openssl iproute2
)

installPackages() { install_packages "${serverPackages[@]}"; }
