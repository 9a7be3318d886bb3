# shellcheck shell=bash
# Names and places of the test domain.
# shellcheck disable=SC2034,SC2154  # used by the scripts that read this one; dcDir is theirs

realm=ZORVAN.TEST
dnsDomain=zorvan.test
netbiosDomain=ZORVAN
baseDn=DC=zorvan,DC=test
domainSid=S-1-5-21-1111111111-2222222222-3333333333
dcName=dc1
dcHost=$dcName.$dnsDomain
dcAddress=127.0.0.10
aliasHost=alias.$dnsDomain        # another name of the controller, which its certificate does not hold
downHosts=("down1.$dnsDomain=127.0.0.21" "down2.$dnsDomain=127.0.0.22")

tree=$dcDir/domain             # what the running domain writes
snapshotTree=$dcDir/snapshot   # what a fresh one begins with
snapshotFormat=1               # to be raised when older snapshots must not be used any more

# Where Debian's Samba keeps its files; inside the namespaces each is one folder of the tree.
declare -A sambaFolders=(
  [/etc/samba]=etc
  [/var/lib/samba]=lib
  [/var/cache/samba]=cache
  [/var/log/samba]=log
  [/run/samba]=run
)

say() { printf 'dc: %s\n' "$*" >&2; }
die() {
  say "$*"
  exit 1
}
