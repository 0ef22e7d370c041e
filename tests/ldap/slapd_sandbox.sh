#!/bin/bash
# slapd for the LDAP tests and the LDAP benchmark, base dc=example,dc=com.
#
#   slapd_sandbox.sh start DIR [options]  generate a directory in the empty DIR, start slapd on
#                                         it; its settings go to DIR/env as KEY=VALUE lines
#   slapd_sandbox.sh stop DIR             stop that slapd (checked by its PID file) and remove DIR
#   slapd_sandbox.sh certs DIR            make a CA and server and client certificates in DIR
#
# Options: --layout qarn|plain (qarn: cn=users / cn=groups and an administrators group; plain:
# ou=people / ou=groups), --passwd FILE and --group FILE (the local accounts the expectations
# are computed against), --users N and --groups N (bulk entries), --no-samba, --require-tls
# ("security ssf=128"), --verify-client never|allow|demand, --anon-read, --sizelimit N,
# --host ADDR (repeatable); needed: --ldap-port P, --ldaps-port P and --certs DIR (made by
# "certs").
#
# The data and the expectations in DIR/expect/ come from slapd_sandbox_data.awk.
set -euo pipefail

SAMBA_SCHEMA=/usr/share/doc/samba/examples/LDAP/samba.schema
SLAPD=/usr/sbin/slapd
SUFFIX="dc=example,dc=com"

die() {
    echo "slapd_sandbox: $*" >&2
    exit 1
}

make_certs() {
    local dir=${1:?usage: certs DIR} name
    mkdir -p "$dir"
    cd "$dir"
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 3650 \
        -subj "/CN=dscheck test CA" -keyout ca.key -out ca.crt \
        -addext "basicConstraints=critical,CA:TRUE" \
        -addext "keyUsage=critical,keyCertSign,cRLSign" 2>/dev/null
    printf '%s\n' "extendedKeyUsage=serverAuth" \
        "subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1" >server.ext
    echo "extendedKeyUsage=clientAuth" >client.ext
    for name in server client; do
        openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj "/CN=$name" \
            -keyout "$name.key" -out "$name.csr" 2>/dev/null
        openssl x509 -req -in "$name.csr" -CA ca.crt -CAkey ca.key -CAcreateserial \
            -days 3650 -extfile "$name.ext" -out "$name.crt" 2>/dev/null
    done
    rm -f ./*.csr ./*.ext ca.srl
    chmod 600 ./*.key
    cd - >/dev/null
}

write_conf() {
    local schema
    {
        for schema in core cosine nis inetorgperson; do
            echo "include /etc/ldap/schema/$schema.schema"
        done
        echo "include $SAMBA_SCHEMA"
        echo "pidfile $DIR/slapd.pid"
        echo "modulepath /usr/lib/ldap"
        echo "moduleload back_mdb"
        echo "TLSCACertificateFile $CERTS/ca.crt"
        echo "TLSCertificateFile $CERTS/server.crt"
        echo "TLSCertificateKeyFile $CERTS/server.key"
        echo "TLSVerifyClient $VERIFY_CLIENT"
        [[ $REQUIRE_TLS == yes ]] && echo "security ssf=128"
        echo "sizelimit $SIZELIMIT"
        echo "database mdb"
        echo "maxsize 4294967296"
        echo "suffix \"$SUFFIX\""
        echo "rootdn \"cn=Manager,$SUFFIX\""
        echo "directory $DIR/db"
        echo "index objectClass eq"
        echo "limits users size=$SIZELIMIT"
        echo "access to attrs=userPassword by self write by anonymous auth by * none"
        echo "access to dn.base=\"\" by * read"
        echo "access to dn.base=\"cn=Subschema\" by * read"
        echo "access to * by $READERS read by * none"
    } >"$DIR/slapd.conf"
}

bracketed() {
    [[ $1 == *:* ]] && echo "[$1]" || echo "$1"
}

is_our_slapd() {
    tr '\0' ' ' 2>/dev/null <"/proc/$2/cmdline" | grep -qF "$1/slapd.conf"
}

# Starts slapd; 0 once it answers (13 with --require-tls counts), 1 when it did not come up.
launch() {
    local urls="" host i rc uri="ldap://$(bracketed "${HOSTS[0]}"):$LDAP_PORT"
    for host in "${HOSTS[@]}"; do
        host=$(bracketed "$host")
        urls+="ldap://$host:$LDAP_PORT/ ldaps://$host:$LDAPS_PORT/ "
    done
    "$SLAPD" -f "$DIR/slapd.conf" -h "$urls" -n slapd-sandbox 2>"$DIR/slapd.log" || return 1
    for i in $(seq 1 100); do
        rc=0
        LDAPCONF=/dev/null LDAPNOINIT=1 ldapsearch -x -H "$uri" -b "" -s base -o nettimeout=2 \
            objectClass >/dev/null 2>&1 || rc=$?
        [[ $rc != 255 ]] && return 0
        sleep 0.1
    done
    return 1
}

stop() {
    local dir pid i
    dir=$(cd "${1:?usage: stop DIR}" 2>/dev/null && pwd) || return 0
    [[ -f $dir/slapd.conf ]] || die "$dir is no sandbox directory"
    pid=$(cat "$dir/slapd.pid" 2>/dev/null || true)
    if [[ $pid =~ ^[0-9]+$ ]] && is_our_slapd "$dir" "$pid"; then
        kill -TERM "$pid" 2>/dev/null || true
        for i in $(seq 1 100); do
            is_our_slapd "$dir" "$pid" || break
            sleep 0.1
        done
        is_our_slapd "$dir" "$pid" && kill -KILL "$pid" 2>/dev/null
    fi
    rm -rf "$dir"
}

start() {
    DIR=${1:?usage: start DIR [options]}
    shift
    local layout=qarn passwd=/etc/passwd group=/etc/group users=0 groups=0 samba=yes
    REQUIRE_TLS=no VERIFY_CLIENT=never READERS=users SIZELIMIT=unlimited CERTS="" HOSTS=()
    LDAP_PORT="" LDAPS_PORT=""
    while (($#)); do
        case $1 in
        --layout) layout=$2; shift ;;
        --passwd) passwd=$2; shift ;;
        --group) group=$2; shift ;;
        --users) users=$2; shift ;;
        --groups) groups=$2; shift ;;
        --no-samba) samba=no ;;
        --require-tls) REQUIRE_TLS=yes ;;
        --verify-client) VERIFY_CLIENT=$2; shift ;;
        --anon-read) READERS="*" ;;
        --sizelimit) SIZELIMIT=$2; shift ;;
        --host) HOSTS+=("$2"); shift ;;
        --ldap-port) LDAP_PORT=$2; shift ;;
        --ldaps-port) LDAPS_PORT=$2; shift ;;
        --certs) CERTS=$2; shift ;;
        *) die "unknown option $1" ;;
        esac
        shift
    done
    [[ $layout == qarn || $layout == plain ]] || die "layout is qarn or plain"
    [[ -n $LDAP_PORT && -n $LDAPS_PORT && -n $CERTS ]] || die "ports and certificates needed"
    [[ -r $SAMBA_SCHEMA ]] || die "$SAMBA_SCHEMA missing (package samba)"
    [[ -x $SLAPD ]] || die "$SLAPD missing (package slapd)"
    if ((${#HOSTS[@]} == 0)); then
        HOSTS=(127.0.0.1)
        grep -q '^0\{31\}1 ' /proc/net/if_inet6 2>/dev/null && HOSTS+=(::1)
    fi
    mkdir -p "$DIR"
    DIR=$(cd "$DIR" && pwd)
    [[ -z $(ls -A "$DIR") ]] || die "$DIR is not empty"
    CERTS=$(cd "$CERTS" && pwd)
    write_conf
    mkdir -p "$DIR/db" "$DIR/expect"
    awk -v suffix="$SUFFIX" -v layout="$layout" -v passwd="$passwd" -v group="$group" \
        -v nusers="$users" -v ngroups="$groups" -v samba="$samba" -v expect="$DIR/expect" \
        -f "$(dirname "${BASH_SOURCE[0]}")/slapd_sandbox_data.awk" </dev/null |
        /usr/sbin/slapadd -q -s -f "$DIR/slapd.conf" >"$DIR/slapadd.log" 2>&1 ||
        die "slapadd failed: $(tail -3 "$DIR/slapadd.log")"

    launch || die "slapd did not start: $(tail -3 "$DIR/slapd.log")"

    local people=cn=users,$SUFFIX
    [[ $layout == plain ]] && people=ou=people,$SUFFIX
    cat >"$DIR/env" <<EOF
PID=$(cat "$DIR/slapd.pid")
HOST=${HOSTS[0]}
LDAP_PORT=$LDAP_PORT
LDAPS_PORT=$LDAPS_PORT
LDAP_URI=ldap://$(bracketed "${HOSTS[0]}"):$LDAP_PORT
SUFFIX=$SUFFIX
PEOPLE_DN=$people
BIND_DN=uid=ldapbind,$people
BIND_PW=bindpw
ADMIN_DN=uid=admin,$people
CLIENT_CERT=$CERTS/client.crt
CLIENT_KEY=$CERTS/client.key
EXPECT_DIR=$DIR/expect
USERS_COUNT=$(cat "$DIR/expect/users_count")
GROUPS_COUNT=$(cat "$DIR/expect/groups_count")
EOF
}

case ${1:-} in
start | stop) "$@" ;;
certs) shift; make_certs "$@" ;;
*) sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 2 ;;
esac
