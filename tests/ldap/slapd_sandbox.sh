#!/bin/bash
# slapd sandbox for the LDAP tests and the LDAP benchmark.
#
#   slapd_sandbox.sh start DIR [options]   generate a directory in DIR (which must be empty or
#                                          absent), start slapd on it, print the settings
#                                          (KEY=VALUE lines, also in DIR/env)
#   slapd_sandbox.sh stop DIR              stop the slapd that "start DIR" started (by its PID
#                                          file, after checking that the process is that
#                                          slapd), then remove DIR
#   slapd_sandbox.sh certs DIR [HOST...]   only make the certificates (CA, server, client)
#   slapd_sandbox.sh ldif [options]        only print the generated LDIF (expectations into
#                                          --expect DIR when given)
#
# Options of start (and of ldif where they concern the data):
#   --suffix DN          base DN, "dc=..." first (default dc=example,dc=com)
#   --layout qarn|plain  qarn: this platform's own directory layout (users in cn=users, groups in
#                        cn=groups, uid=admin and cn=administrators present: the library's server
#                        type 1); plain: ou=people / ou=groups, no administrators group (server
#                        type 3, OpenLDAP). Default qarn.
#   --passwd FILE        local users whose names and IDs some LDAP users share (default
#   --group FILE         /etc/passwd, /etc/group); the expectations are computed against them
#   --users N            add N bulk users  (uid=bulkNNNNNN, uidNumber 100000+i)
#   --groups N           add N bulk groups (cn=bgrpNNNNNN, gidNumber 200000+i)
#   --no-samba           no sambaDomain entry
#   --require-tls        "security ssf=128": a plain simple bind gets result 13
#   --verify-client L    TLSVerifyClient never|allow|demand (default never)
#   --anon-read          anonymous clients may read the entries (default: only bound clients;
#                        the root DSE is always readable)
#   --sizelimit N        the server's size limit (default unlimited)
#   --host ADDR          listen on ADDR (repeatable; default 127.0.0.1, and ::1 when the host
#                        has IPv6 loopback)
#   --ldap-port P        fixed ports (default: free ports chosen at random)
#   --ldaps-port P
#   --certs DIR          use the certificates in DIR (made by "certs") instead of new ones
#   --quiet              print nothing (the settings are in DIR/env)
#
# The data: posixAccount users and posixGroup groups, good ones and troublesome ones (without a
# name or with an empty one, without an ID, with an empty, non-numeric or signed ID, names and IDs
# that clash with --passwd / --group), a sambaDomain entry, sambaNTPassword values, and a bind
# user (uid=ldapbind, password "bindpw"; plain layout: a full DN is needed to bind). The files in
# DIR/expect/ list what each entry check must find, one item a line:
#   user_name_empty user_id_empty user_id_type user_id_dup user_ntpwd   (DNs)
#   user_name_dup                                                      (names; "admin" included)
#   group_name_empty group_id_empty group_id_type group_id_dup          (DNs)
#   group_name_dup                                                     (names; "users",
#                                                                       "administrators" included)
# and users_count / groups_count hold the number of user / group entries.
set -euo pipefail

SCHEMA_DIR=/etc/ldap/schema
SAMBA_SCHEMA=/usr/share/doc/samba/examples/LDAP/samba.schema
SLAPD=/usr/sbin/slapd
SLAPADD=/usr/sbin/slapadd

die() {
    echo "slapd_sandbox: $*" >&2
    exit 1
}

# --- certificates -------------------------------------------------------------------------------

make_certs() {
    local dir=$1
    shift
    mkdir -p "$dir"
    local san="DNS:localhost,IP:127.0.0.1,IP:::1" host
    for host in "$@"; do
        if [[ $host =~ ^[0-9.]+$ || $host == *:* ]]; then
            san+=",IP:$host"
        else
            san+=",DNS:$host"
        fi
    done
    (
        cd "$dir"
        openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 3650 \
            -subj "/CN=dscheck test CA" -keyout ca.key -out ca.crt \
            -addext "basicConstraints=critical,CA:TRUE" \
            -addext "keyUsage=critical,keyCertSign,cRLSign" 2>/dev/null
        local name
        for name in server client; do
            openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes \
                -subj "/CN=$([[ $name == server ]] && echo localhost || echo ldapclient)" \
                -keyout "$name.key" -out "$name.csr" 2>/dev/null
        done
        printf 'basicConstraints=CA:FALSE\nkeyUsage=digitalSignature,keyEncipherment\n%s\n%s\n' \
            "extendedKeyUsage=serverAuth" "subjectAltName=$san" >server.ext
        printf 'basicConstraints=CA:FALSE\nkeyUsage=digitalSignature,keyEncipherment\n%s\n' \
            "extendedKeyUsage=clientAuth" >client.ext
        for name in server client; do
            openssl x509 -req -in "$name.csr" -CA ca.crt -CAkey ca.key -CAcreateserial \
                -days 3650 -extfile "$name.ext" -out "$name.crt" 2>/dev/null
        done
        rm -f ./*.csr ./*.ext ca.srl
        chmod 600 ./*.key
    )
}

# --- data ---------------------------------------------------------------------------------------

# gen_ldif SUFFIX LAYOUT PASSWD GROUP USERS GROUPS SAMBA EXPECTDIR: the LDIF on stdout.
gen_ldif() {
    [[ -n $8 ]] && mkdir -p "$8"
    awk -v suffix="$1" -v layout="$2" -v passwd="$3" -v group="$4" -v nusers="$5" \
        -v ngroups="$6" -v samba="$7" -v expect="$8" -f "$SCRIPT_DIR/slapd_sandbox_data.awk" \
        </dev/null
}

# --- ports --------------------------------------------------------------------------------------

# Whether TCP port $1 is free (no socket bound to it in /proc/net/tcp or tcp6).
port_free() {
    local hex
    hex=$(printf '%04X' "$1")
    ! awk 'NR > 1 {print $2}' /proc/net/tcp /proc/net/tcp6 2>/dev/null | grep -q ":$hex\$"
}

random_port() {
    local port
    while :; do
        port=$((20000 + (RANDOM * 32768 + RANDOM) % 40000))
        if port_free "$port"; then
            echo "$port"
            return
        fi
    done
}

# --- start / stop -------------------------------------------------------------------------------

write_conf() {
    local dir=$1
    {
        for schema in core cosine nis inetorgperson; do
            echo "include $SCHEMA_DIR/$schema.schema"
        done
        echo "include $SAMBA_SCHEMA"
        echo "pidfile $dir/slapd.pid"
        echo "argsfile $dir/slapd.args"
        echo "modulepath /usr/lib/ldap"
        echo "moduleload back_mdb"
        echo "TLSCACertificateFile $CERTS/ca.crt"
        echo "TLSCertificateFile $CERTS/server.crt"
        echo "TLSCertificateKeyFile $CERTS/server.key"
        echo "TLSVerifyClient $VERIFY_CLIENT"
        [[ $REQUIRE_TLS == yes ]] && echo "security ssf=128"
        echo "sizelimit $SIZELIMIT"
        echo "timelimit unlimited"
        echo "database mdb"
        echo "maxsize 4294967296"
        echo "suffix \"$SUFFIX\""
        echo "rootdn \"cn=Manager,$SUFFIX\""
        echo "rootpw secret"
        echo "directory $dir/db"
        echo "index objectClass eq"
        echo "sizelimit $SIZELIMIT"
        echo "limits users size=$SIZELIMIT"
        echo "access to attrs=userPassword by self write by anonymous auth by * none"
        echo "access to dn.base=\"\" by * read"
        echo "access to dn.base=\"cn=Subschema\" by * read"
        if [[ $ANON_READ == yes ]]; then
            echo "access to * by * read"
        else
            echo "access to * by users read by * none"
        fi
    } >"$dir/slapd.conf"
}

# Starts slapd; 0 when it answers, 1 when it did not come up (e.g. a port was taken).
launch() {
    local dir=$1 urls="" host h
    for host in "${HOSTS[@]}"; do
        h=$host
        [[ $h == *:* ]] && h="[$h]"
        urls+="ldap://$h:$LDAP_PORT/ ldaps://$h:$LDAPS_PORT/ "
    done
    rm -f "$dir/slapd.pid"
    "$SLAPD" -f "$dir/slapd.conf" -h "$urls" -n slapd-sandbox 2>"$dir/slapd.log" || return 1
    local first=${HOSTS[0]}
    [[ $first == *:* ]] && first="[$first]"
    local i rc
    for i in $(seq 1 100); do
        if [[ -s $dir/slapd.pid ]]; then
            rc=0
            LDAPCONF=/dev/null LDAPNOINIT=1 ldapsearch -x -H "ldap://$first:$LDAP_PORT" -b "" \
                -s base -o nettimeout=2 objectClass >/dev/null 2>&1 || rc=$?
            # 255: cannot contact; anything else (13 with --require-tls) means it listens.
            [[ $rc != 255 ]] && return 0
        fi
        if ((i > 10)) && [[ ! -s $dir/slapd.pid ]]; then
            return 1
        fi
        sleep 0.1
    done
    return 1
}

is_our_slapd() {
    local dir=$1 pid=$2
    [[ -r /proc/$pid/cmdline ]] && tr '\0' ' ' <"/proc/$pid/cmdline" | grep -qF "$dir/slapd.conf"
}

stop() {
    local dir=${1:?usage: stop DIR}
    dir=$(cd "$dir" 2>/dev/null && pwd) || return 0
    [[ -f $dir/slapd.conf ]] || die "$dir is no sandbox directory"
    if [[ -s $dir/slapd.pid ]]; then
        local pid i
        pid=$(cat "$dir/slapd.pid")
        if [[ $pid =~ ^[0-9]+$ ]] && is_our_slapd "$dir" "$pid"; then
            kill -TERM "$pid" 2>/dev/null || true
            for i in $(seq 1 100); do
                is_our_slapd "$dir" "$pid" || break
                sleep 0.1
            done
            if is_our_slapd "$dir" "$pid"; then
                kill -KILL "$pid" 2>/dev/null || true
                sleep 0.2
            fi
        fi
    fi
    rm -rf "$dir"
}

start() {
    local dir=${1:?usage: start DIR [options]}
    shift
    SUFFIX="dc=example,dc=com" LAYOUT=qarn PASSWD=/etc/passwd GROUP=/etc/group
    NUSERS=0 NGROUPS=0 SAMBA=yes REQUIRE_TLS=no VERIFY_CLIENT=never ANON_READ=no
    SIZELIMIT=unlimited LDAP_PORT="" LDAPS_PORT="" CERTS="" HOSTS=() QUIET=no
    while (($#)); do
        case $1 in
        --suffix) SUFFIX=$2; shift ;;
        --layout) LAYOUT=$2; shift ;;
        --passwd) PASSWD=$2; shift ;;
        --group) GROUP=$2; shift ;;
        --users) NUSERS=$2; shift ;;
        --groups) NGROUPS=$2; shift ;;
        --no-samba) SAMBA=no ;;
        --require-tls) REQUIRE_TLS=yes ;;
        --verify-client) VERIFY_CLIENT=$2; shift ;;
        --anon-read) ANON_READ=yes ;;
        --sizelimit) SIZELIMIT=$2; shift ;;
        --host) HOSTS+=("$2"); shift ;;
        --ldap-port) LDAP_PORT=$2; shift ;;
        --ldaps-port) LDAPS_PORT=$2; shift ;;
        --certs) CERTS=$2; shift ;;
        --quiet) QUIET=yes ;;
        *) die "unknown option $1" ;;
        esac
        shift
    done
    [[ $SUFFIX == dc=* ]] || die "the suffix must start with dc="
    [[ $LAYOUT == qarn || $LAYOUT == plain ]] || die "layout is qarn or plain"
    [[ -r $SAMBA_SCHEMA ]] || die "$SAMBA_SCHEMA missing (package samba)"
    [[ -x $SLAPD ]] || die "$SLAPD missing (package slapd)"
    if ((${#HOSTS[@]} == 0)); then
        HOSTS=(127.0.0.1)
        if grep -q '^00000000000000000000000000000001 ' /proc/net/if_inet6 2>/dev/null; then
            HOSTS+=(::1)
        fi
    fi
    mkdir -p "$dir"
    dir=$(cd "$dir" && pwd)
    [[ -z $(ls -A "$dir") ]] || die "$dir is not empty"
    if [[ -z $CERTS ]]; then
        CERTS=$dir/certs
        make_certs "$CERTS" "${HOSTS[@]}"
    fi
    CERTS=$(cd "$CERTS" && pwd)
    write_conf "$dir"
    mkdir -p "$dir/db"
    gen_ldif "$SUFFIX" "$LAYOUT" "$PASSWD" "$GROUP" "$NUSERS" "$NGROUPS" "$SAMBA" \
        "$dir/expect" >"$dir/data.ldif"
    "$SLAPADD" -q -s -f "$dir/slapd.conf" -l "$dir/data.ldif" >"$dir/slapadd.log" 2>&1 ||
        die "slapadd failed: $(tail -3 "$dir/slapadd.log")"
    ((NUSERS + NGROUPS > 1000)) && rm -f "$dir/data.ldif"

    local fixed=no tries
    [[ -n $LDAP_PORT || -n $LDAPS_PORT ]] && fixed=yes
    for tries in 1 2 3 4 5; do
        [[ -z $LDAP_PORT || $fixed == no ]] && LDAP_PORT=$(random_port)
        [[ -z $LDAPS_PORT || $fixed == no ]] && LDAPS_PORT=$(random_port)
        [[ $LDAP_PORT == "$LDAPS_PORT" ]] && continue
        if launch "$dir"; then
            break
        fi
        if [[ -s $dir/slapd.pid ]] && is_our_slapd "$dir" "$(cat "$dir/slapd.pid")"; then
            kill -TERM "$(cat "$dir/slapd.pid")" 2>/dev/null || true
        fi
        [[ $fixed == yes || $tries == 5 ]] && die "slapd did not start: $(tail -3 "$dir/slapd.log")"
    done

    local people=cn=users groups=cn=groups host=${HOSTS[0]}
    [[ $LAYOUT == plain ]] && people=ou=people groups=ou=groups
    [[ $host == *:* ]] && host="[$host]"
    {
        echo "SANDBOX_DIR=$dir"
        echo "PID=$(cat "$dir/slapd.pid")"
        echo "HOST=${HOSTS[0]}"
        echo "LDAP_PORT=$LDAP_PORT"
        echo "LDAPS_PORT=$LDAPS_PORT"
        echo "LDAP_URI=ldap://$host:$LDAP_PORT"
        echo "LDAPS_URI=ldaps://$host:$LDAPS_PORT"
        echo "SUFFIX=$SUFFIX"
        echo "LAYOUT=$LAYOUT"
        echo "PEOPLE_DN=$people,$SUFFIX"
        echo "GROUPS_DN=$groups,$SUFFIX"
        echo "ROOT_DN=cn=Manager,$SUFFIX"
        echo "ROOT_PW=secret"
        echo "BIND_NAME=ldapbind"
        echo "BIND_DN=uid=ldapbind,$people,$SUFFIX"
        echo "BIND_PW=bindpw"
        echo "ADMIN_DN=uid=admin,$people,$SUFFIX"
        echo "ADMIN_PW=adminpw"
        echo "CA_CERT=$CERTS/ca.crt"
        echo "CLIENT_CERT=$CERTS/client.crt"
        echo "CLIENT_KEY=$CERTS/client.key"
        echo "EXPECT_DIR=$dir/expect"
        echo "USERS_COUNT=$(cat "$dir/expect/users_count")"
        echo "GROUPS_COUNT=$(cat "$dir/expect/groups_count")"
        echo "REQUIRE_TLS=$REQUIRE_TLS"
        echo "VERIFY_CLIENT=$VERIFY_CLIENT"
        echo "SAMBA=$SAMBA"
    } >"$dir/env"
    [[ $QUIET == yes ]] || cat "$dir/env"
}

ldif_only() {
    local suffix="dc=example,dc=com" layout=qarn passwd=/etc/passwd group=/etc/group users=0
    local groups=0 samba=yes expect=""
    while (($#)); do
        case $1 in
        --suffix) suffix=$2; shift ;;
        --layout) layout=$2; shift ;;
        --passwd) passwd=$2; shift ;;
        --group) group=$2; shift ;;
        --users) users=$2; shift ;;
        --groups) groups=$2; shift ;;
        --no-samba) samba=no ;;
        --expect) expect=$2; shift ;;
        *) die "unknown option $1" ;;
        esac
        shift
    done
    gen_ldif "$suffix" "$layout" "$passwd" "$group" "$users" "$groups" "$samba" "$expect"
}

SCRIPT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
case ${1:-} in
start) shift; start "$@" ;;
stop) shift; stop "$@" ;;
certs) shift; make_certs "$@" ;;
ldif) shift; ldif_only "$@" ;;
*) sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 2 ;;
esac
