# shellcheck shell=bash disable=SC2154  # the names are those of dc and settings.sh
# The tree of files that the domain controller works on: how it is made, kept and put back.

# Everything that the seeded domain is made from; a snapshot of something else is not used.
snapshotKey() {
  {
    echo "$snapshotFormat $userCount"
    dpkg-query -W -f='${Version}' samba
    cat "$here"/lib/{settings,tree}.sh "$here"/seed/*.{py,ldif}
  } | sha256sum | cut -d' ' -f1
}

# prepareTree keep|fresh: a complete tree in $tree; "keep" goes on with the changes made in it so far.
prepareTree() {
  local key
  key=$(snapshotKey)
  if [[ $1 == keep && -e $tree/complete && $(<"$tree/complete") == "$key" ]]; then
    writePropertiesFile
    return
  fi
  if [[ ! -e $snapshotTree/complete || $(<"$snapshotTree/complete") != "$key" ]]; then
    say "building the domain with $userCount users"
    buildTree
    echo "$key" >"$tree/complete"
    saveSnapshot
    say "built"
  else
    copyTree "$snapshotTree" "$tree"
  fi
  writePropertiesFile
}

saveSnapshot() {
  rm -rf "${tree:?}"/{run,log,cache}/*
  copyTree "$tree" "$snapshotTree"
}

# The mark of completeness comes last, so that an interrupted copy is never used.
copyTree() {
  rm -rf "$2"
  mkdir -p "$2"
  find "$1" -mindepth 1 -maxdepth 1 ! -name complete -exec cp -a -t "$2" {} +
  cp -a "$1/complete" "$2/complete"
}

buildTree() {
  rm -rf "$tree"
  mkdir -p "$tree"/{etc,lib/private/tls,cache,log,run,secrets}
  writeNames
  makePasswords
  inTree provision samba-tool domain provision --realm="$realm" --domain="$netbiosDomain" \
    --server-role=dc --function-level=2008_R2 --host-name="$dcName" --host-ip="$dcAddress" \
    --dns-backend=SAMBA_INTERNAL --domain-sid="$domainSid"
  writeServerSettings
  makeCertificates
  # Without these names nobody gets a Kerberos ticket for the LDAP service.
  inTree names samba_spnupdate
  inTree seed /usr/bin/python3 -B "$here/seed/seed.py" --users "$userCount" --secrets "$tree/secrets"
}

# inTree TITLE COMMAND: run an offline tool on the tree.
inTree() {
  local log=$tree/$1.log
  shift
  if ! KRB5_CONFIG=$tree/krb5.conf "${inNewNamespaces[@]}" "$here/lib/inside.sh" call "$dcDir" "$@" \
    </dev/null >"$log" 2>&1; then
    tail -15 "$log" >&2
    die "$1 failed, see $log"
  fi
}

writeNames() {
  local entry
  {
    echo "127.0.0.1 localhost"
    echo "$dcAddress $dcHost $dcName $dnsDomain $aliasHost"
    for entry in "${downHosts[@]}"; do echo "${entry#*=} ${entry%=*}"; done
  } >"$tree/hosts"
  printf 'search %s\nnameserver %s\noptions timeout:1 attempts:1\n' "$dnsDomain" "$dcAddress" >"$tree/resolv.conf"
  cat >"$tree/krb5.conf" <<EOF
[libdefaults]
	default_realm = $realm
	dns_lookup_realm = false
	dns_lookup_kdc = false
	dns_canonicalize_hostname = false
	rdns = false
[realms]
	$realm = {
		kdc = $dcAddress
		kpasswd_server = $dcAddress
	}
[domain_realm]
	.$dnsDomain = $realm
	$dnsDomain = $realm
EOF
}

writeServerSettings() {
  cat >"$tree/etc/smb.conf" <<EOF
[global]
	netbios name = $dcName
	realm = $realm
	workgroup = $netbiosDomain
	server role = active directory domain controller
	server services = s3fs, rpc, nbt, ldap, cldap, kdc, drepl, winbindd, dns
	interfaces = $dcAddress/8
	bind interfaces only = yes
	log level = 1
	max log size = 5000
	tls enabled = yes
	tls keyfile = tls/key.pem
	tls certfile = tls/cert.pem
	tls cafile = tls/ca.pem
	dns forwarder =
	allow dns updates = nonsecure
	load printers = no
	printcap name = /dev/null
	disable spoolss = yes
	template shell = /bin/false
[sysvol]
	path = /var/lib/samba/sysvol
	read only = no
[netlogon]
	path = /var/lib/samba/sysvol/$dnsDomain/scripts
	read only = no
EOF
}

makePasswords() {
  local name
  chmod 700 "$tree/secrets"
  for name in administrator reader disabled; do
    # The fixed part satisfies the complexity rule.  No line end: clients take the file as it is.
    printf 'Aa1!%s' "$(openssl rand -hex 12)" >"$tree/secrets/$name"
    chmod 600 "$tree/secrets/$name"
  done
}

makeCertificates() {
  local tls=$tree/lib/private/tls
  rm -f "$tls"/*
  {
    openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -keyout "$tls/cakey.pem" -out "$tls/ca.pem" \
      -subj "/O=$netbiosDomain test domain/CN=$netbiosDomain test authority" \
      -addext basicConstraints=critical,CA:TRUE
    openssl req -newkey rsa:2048 -nodes -keyout "$tls/key.pem" -out "$tls/request.pem" -subj "/CN=$dcHost"
    openssl x509 -req -in "$tls/request.pem" -CA "$tls/ca.pem" -CAkey "$tls/cakey.pem" -CAcreateserial \
      -days 3650 -out "$tls/cert.pem" -extfile <(
        echo "subjectAltName=DNS:$dcHost,DNS:$dnsDomain,DNS:$dcName,IP:$dcAddress"
        echo "extendedKeyUsage=serverAuth"
      )
  } >"$tree/certificates.log" 2>&1 || die "no certificates, see $tree/certificates.log"
  chmod 600 "$tls"/*key.pem
  cp "$tls/ca.pem" "$tree/ca.pem"
}

writePropertiesFile() {
  local names=() addresses=() entry
  for entry in "${downHosts[@]}"; do
    names+=("${entry%=*}")
    addresses+=("${entry#*=}")
  done
  cat >"$dcDir/domain.properties" <<EOF
host=$dcHost
address=$dcAddress
aliasHost=$aliasHost
realm=$realm
dnsDomain=$dnsDomain
netbiosDomain=$netbiosDomain
baseDn=$baseDn
userName=Administrator
passwordFile=$tree/secrets/administrator
readerUserName=reader
readerPasswordFile=$tree/secrets/reader
disabledUserName=barred
disabledPasswordFile=$tree/secrets/disabled
caFile=$tree/ca.pem
krb5Conf=$tree/krb5.conf
samLdb=$tree/lib/private/sam.ldb
smbConf=$tree/etc/smb.conf
downHosts=$(IFS=, && echo "${names[*]},${addresses[*]}")
EOF
}
