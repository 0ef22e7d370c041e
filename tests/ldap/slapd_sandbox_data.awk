# The sandbox directory's LDIF (stdout) and the expectations of the entry checks (files in
# the directory expect). Variables: suffix, layout (qarn|plain), passwd, group (local account
# files), nusers, ngroups (bulk entries), samba (yes|no), expect.
# Called by slapd_sandbox.sh; run with /dev/null as input.

function emit_expect(name, item) { print item > (expect "/" name) }

function b64(s,    map, out, i, n, c1, c2, c3, v) {
    map = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
    out = ""; n = length(s)
    for (i = 1; i <= n; i += 3) {
        c1 = ord[substr(s, i, 1)]
        c2 = (i + 1 <= n) ? ord[substr(s, i + 1, 1)] : 0
        c3 = (i + 2 <= n) ? ord[substr(s, i + 2, 1)] : 0
        v = c1 * 65536 + c2 * 256 + c3
        out = out substr(map, int(v / 262144) % 64 + 1, 1) substr(map, int(v / 4096) % 64 + 1, 1)
        out = out ((i + 1 <= n) ? substr(map, int(v / 64) % 64 + 1, 1) : "=")
        out = out ((i + 2 <= n) ? substr(map, v % 64 + 1, 1) : "=")
    }
    return out
}

# One attribute line; a value with a leading or trailing blank is base64-encoded (LDIF would
# strip the blanks).
function attr(name, value) {
    if (value ~ /^[ :<]/ || value ~ / $/) return name ":: " b64(value) "\n"
    return name ": " value "\n"
}

function ntpw(i) {
    return sprintf("%08X%08X%08X%08X", i, (i * 7) % 65536, (i * 13) % 65536, 1000000 + i)
}

# A user entry. name / id "@none": the attribute is left out. nt: the sambaNTPassword, "" for
# none, "@empty" for an empty value. extra: more attribute lines.
function user(dn, name, id, nt, extra,    e, label) {
    label = (name != "@none" && name != "") ? name : "nameless" (nuser + 1)
    e = "dn: " dn "\nobjectClass: top\nobjectClass: account\nobjectClass: posixAccount\n"
    if (nt != "") e = e "objectClass: sambaSamAccount\nsambaSID: S-1-5-21-1-2-3-" (1000 + nuser) "\n"
    e = e attr("cn", label)
    if (name != "@none") e = e attr("uid", name)
    if (id != "@none") e = e attr("uidNumber", id)
    e = e "gidNumber: 100\nhomeDirectory: /home/" label "\n" extra
    if (nt == "@empty") e = e "sambaNTPassword:\n"
    else if (nt != "") e = e "sambaNTPassword: " nt "\n"
    printf "%s\n", e
    nuser++
    if (name == "@none" || name == "") emit_expect("user_name_empty", dn)
    if (id == "@none" || id == "") emit_expect("user_id_empty", dn)
    if (id == "@none" || (id != "" && id !~ /^[0-9]+$/)) emit_expect("user_id_type", dn)
    if (name != "@none" && name != "" && (name in pname)) emit_expect("user_name_dup", name)
    if (id != "@none" && (id in pid)) emit_expect("user_id_dup", dn)
    if (nt == "" || nt == "@empty") emit_expect("user_ntpwd", dn)
}

# A group entry; rdn: an attribute line naming the entry when it has no cn.
function grp(dn, name, id, rdn,    e) {
    e = "dn: " dn "\nobjectClass: top\nobjectClass: posixGroup\n" rdn
    if (name != "@none") e = e attr("cn", name)
    if (id != "@none") e = e attr("gidNumber", id)
    printf "%s\n", e
    ngroup++
    if (name == "@none" || name == "") emit_expect("group_name_empty", dn)
    if (id == "@none" || id == "") emit_expect("group_id_empty", dn)
    if (id == "@none" || (id != "" && id !~ /^[0-9]+$/)) emit_expect("group_id_type", dn)
    if (name != "@none" && name != "" && (name in gname)) emit_expect("group_name_dup", name)
    if (id != "@none" && (id in gid)) emit_expect("group_id_dup", dn)
}

# Reads a colon-separated account file as the checks do: a name needs a colon after it, an ID
# a third colon. names[], ids[] as sets, namelist[] / idlist[] in order.
function load(file, names, ids, namelist, idlist,    line, f, n, k) {
    k = 0
    while ((getline line < file) > 0) {
        if (line == "") continue
        n = split(line, f, ":")
        if (n >= 2 && f[1] != "") {
            names[f[1]] = 1; namelist[++k] = f[1]; idlist[k] = (n >= 4) ? f[3] : ""
        }
        if (n >= 4) ids[f[3]] = 1
    }
    close(file)
    return k
}

# The first local name (of list, count n) that is not in the skip set; "" when none.
function pick(list, n, skip,    i) {
    for (i = 1; i <= n; i++) if (list[i] != "" && !(list[i] in skip) && !(list[i] in picked)) {
        picked[list[i]] = 1
        return list[i]
    }
    return ""
}

function pickid(list, n, skip,    i) {
    for (i = 1; i <= n; i++) if (list[i] ~ /^[0-9]+$/ && !(list[i] in skip) && !(("#" list[i]) in picked)) {
        picked["#" list[i]] = 1
        return list[i]
    }
    return ""
}

BEGIN {
    for (i = 0; i < 256; i++) ord[sprintf("%c", i)] = i
    nf = split("user_name_empty user_id_empty user_id_type user_name_dup user_id_dup user_ntpwd " \
               "group_name_empty group_id_empty group_id_type group_name_dup group_id_dup", fl, " ")
    for (i = 1; i <= nf; i++) printf "" > (expect "/" fl[i])
    np = load(passwd, pname, pid, plist, pidlist)
    ng = load(group, gname, gid, glist, gidlist)

    split(suffix, rdn, ","); split(rdn[1], dcv, "=")
    if (layout == "qarn") {
        people = "cn=users," suffix; groups = "cn=groups," suffix; cont = "organizationalRole"
    } else {
        people = "ou=people," suffix; groups = "ou=groups," suffix; cont = "organizationalUnit"
    }
    split(people, pr, ","); split(pr[1], pv, "="); split(groups, gr, ","); split(gr[1], gv, "=")

    printf "dn: %s\nobjectClass: top\nobjectClass: dcObject\nobjectClass: organization\n" \
           "o: dscheck test\ndc: %s\n\n", suffix, dcv[2]
    printf "dn: %s\nobjectClass: top\nobjectClass: %s\n%s: %s\n\n", people, cont, pv[1], pv[2]
    printf "dn: %s\nobjectClass: top\nobjectClass: %s\n%s: %s\n\n", groups, cont, gv[1], gv[2]
    if (samba == "yes")
        printf "dn: sambaDomainName=EXAMPLE,%s\nobjectClass: sambaDomain\n" \
               "sambaDomainName: EXAMPLE\nsambaSID: S-1-5-21-1-2-3\n\n", suffix
    printf "dn: uid=ldapbind,%s\nobjectClass: top\nobjectClass: account\n" \
           "objectClass: simpleSecurityObject\nuid: ldapbind\nuserPassword: bindpw\n\n", people

    # Users: the admin account, good users, then the troublesome ones.
    own["admin"]; own["ldapbind"]; own["alice"]; own["bob"]; own["carol"]
    user("uid=admin," people, "admin", "1024", ntpw(1), "userPassword: adminpw\n")
    user("uid=alice," people, "alice", "2001", ntpw(2), "userPassword: alicepw\n")
    user("uid=bob," people, "bob", "2002", ntpw(3))
    user("uid=carol," people, "carol", "2003", ntpw(4))
    user("cn=noname," people, "@none", "2010", ntpw(5))
    user("cn=emptyname," people, "", "2011", ntpw(6))
    user("uid=noid," people, "noid", "@none", ntpw(7))
    user("uid=emptyid," people, "emptyid", "", ntpw(8))
    user("uid=badid1," people, "badid1", "1001a", ntpw(9))
    user("uid=badid2," people, "badid2", "-5", ntpw(10))
    user("uid=badid3," people, "badid3", " 1001", ntpw(11))
    user("uid=nontpw," people, "nontpw", "2020", "")
    user("uid=emptyntpw," people, "emptyntpw", "2021", "@empty")
    # Clashes with the local users: two names, two IDs, and an ID that equals one only as a number.
    for (k = 1; k <= 2; k++) {
        n = pick(plist, np, own)
        if (n != "") user("uid=" n "," people, n, 2100 + k, ntpw(20 + k))
    }
    for (k = 1; k <= 2; k++) {
        n = pickid(pidlist, np, own)
        if (n != "") {
            user("uid=idclash" k "," people, "idclash" k, n, ntpw(30 + k))
            if (k == 1) user("uid=padded," people, "padded", "0" n, ntpw(40))
        }
    }
    for (i = 1; i <= nusers; i++)
        user(sprintf("uid=bulk%06d,%s", i, people), sprintf("bulk%06d", i), 100000 + i, ntpw(1000 + i))

    # Groups.
    owng["users"]; owng["administrators"]; owng["developers"]; owng["sales"]
    grp("cn=users," groups, "users", "100", "")
    if (layout == "qarn") grp("cn=administrators," groups, "administrators", "101", "")
    grp("cn=developers," groups, "developers", "3001", "memberUid: alice\nmemberUid: bob\n")
    grp("cn=sales," groups, "sales", "3002", "memberUid: carol\n")
    grp("description=noname," groups, "@none", "3010", "description: noname\n")
    grp("description=emptyname," groups, "", "3011", "description: emptyname\n")
    grp("cn=nogid," groups, "nogid", "@none", "")
    grp("cn=emptygid," groups, "emptygid", "", "")
    grp("cn=badgid1," groups, "badgid1", "12x", "")
    grp("cn=badgid2," groups, "badgid2", "+7", "")
    grp("cn=badgid3," groups, "badgid3", "3003 ", "")
    delete picked
    for (k = 1; k <= 2; k++) {
        n = pick(glist, ng, owng)
        if (n != "") grp("cn=" n "," groups, n, 3100 + k, "")
    }
    for (k = 1; k <= 2; k++) {
        n = pickid(gidlist, ng, owng)
        if (n != "") grp("cn=gidclash" k "," groups, "gidclash" k, n, "")
    }
    for (i = 1; i <= ngroups; i++)
        grp(sprintf("cn=bgrp%06d,%s", i, groups), sprintf("bgrp%06d", i), 200000 + i,
            sprintf("memberUid: bulk%06d\n", (i % (nusers > 0 ? nusers : 1)) + 1))

    print nuser > (expect "/users_count")
    print ngroup > (expect "/groups_count")
}
