#!/usr/bin/python3
"""Creates the test bed's users, group and password policies on a freshly provisioned DC.

Runs once, locally on the DC's sam.ldb (before samba starts), in one process: far quicker than
one samba-tool run per user. Usage: mkusers.py SMB_CONF NIS_DOMAIN USER_PASSWORD

"Domain Users" gets gidNumber 10100. Accounts (all with RFC 2307 attributes, Unix group
"unixusers" with gidNumber 10000 as their gidNumber):
  alice, bob   normal users (uidNumber 10001, 10002)
  carol        disabled                    -> NT_STATUS_ACCOUNT_DISABLED
  dave         lockout-able: a password settings object (PSO) gives him alone a lockout
               threshold of 3 bad passwords (30 minutes)   -> NT_STATUS_ACCOUNT_LOCKED_OUT
  erin         account expired (accountExpires in 1970)  -> NT_STATUS_ACCOUNT_EXPIRED
  frank        must change the password at next logon    -> NT_STATUS_PASSWORD_MUST_CHANGE
  grace        password expired: a PSO gives her a maximum password age of 2 days, and her
               password was last set 3 days ago          -> NT_STATUS_PASSWORD_EXPIRED
The domain's own passwords never expire (maxPwdAge "never"), so kinit prints no expiry warning.
"""

import sys
import time

import ldb
from samba import dsdb, unix2nttime
from samba.auth import system_session
from samba.netcmd.pso import make_pso_ldb_msg, pso_container
from samba.param import LoadParm
from samba.samdb import SamDB

GID = 10000
DOMAIN_USERS_GID = 10100
USERS = [
    # name, uidNumber
    ("alice", 10001),
    ("bob", 10002),
    ("carol", 10003),
    ("dave", 10004),
    ("erin", 10005),
    ("frank", 10006),
    ("grace", 10007),
]
TICKS_PER_DAY = 24 * 3600 * 10 * 1000 * 1000
NEVER = str(-0x8000000000000000)


def main():
    smb_conf, nis_domain, password = sys.argv[1:4]
    lp = LoadParm()
    lp.load(smb_conf)
    db = SamDB(url=lp.samdb_url(), session_info=system_session(), lp=lp)
    domain_dn = str(db.domain_dn())

    m = ldb.Message(ldb.Dn(db, domain_dn))
    m["maxPwdAge"] = ldb.MessageElement(NEVER, ldb.FLAG_MOD_REPLACE, "maxPwdAge")
    db.modify(m)

    m = ldb.Message(ldb.Dn(db, "CN=Domain Users,CN=Users," + domain_dn))
    m["gidNumber"] = ldb.MessageElement(str(DOMAIN_USERS_GID), ldb.FLAG_MOD_REPLACE, "gidNumber")
    db.modify(m)

    db.newgroup("unixusers", gidnumber=GID, nisdomain=nis_domain,
                description="Unix users of the test bed")
    for name, uid in USERS:
        db.newuser(name, password, uidnumber=uid, gidnumber=GID, nisdomain=nis_domain,
                   unixhome="/home/" + name, loginshell="/bin/bash", gecos=name.title(),
                   surname=name.title(), mailaddress=name + "@" + lp.get("realm").lower(),
                   force_password_change_at_next_login_req=(name == "frank"))
        db.add_remove_group_members("unixusers", [name], add_members_operation=True)

    db.disable_account("(sAMAccountName=carol)")

    # 1970-01-01 in Windows file-time ticks: long past, so the account has expired.
    m = ldb.Message(ldb.Dn(db, "CN=erin,CN=Users," + domain_dn))
    m["accountExpires"] = ldb.MessageElement("116444736000000000", ldb.FLAG_MOD_REPLACE,
                                             "accountExpires")
    db.modify(m)

    container = pso_container(db)
    lock_pso = "CN=testbed-lockout," + container
    db.add(make_pso_ldb_msg(None, db, lock_pso, True, lockout_threshold=3, complexity="on",
                            precedence=10, store_plaintext="off", history_length=0,
                            min_pwd_length=7, min_pwd_age=0, max_pwd_age=0,
                            lockout_duration=30, reset_lockout_after=30))
    expire_pso = "CN=testbed-expired," + container
    m = make_pso_ldb_msg(None, db, expire_pso, True, lockout_threshold=0, complexity="on",
                         precedence=11, store_plaintext="off", history_length=0,
                         min_pwd_length=7, min_pwd_age=0, max_pwd_age=None,
                         lockout_duration=30, reset_lockout_after=30)
    # Samba takes a maximum age below one day for "never": two days it is.
    m["msDS-MaximumPasswordAge"] = ldb.MessageElement(str(-2 * TICKS_PER_DAY), ldb.FLAG_MOD_ADD,
                                                      "msDS-MaximumPasswordAge")
    db.add(m)
    # pwdLastSet takes only 0 or -1 over LDAP; locally the password-hash module can be bypassed.
    m = ldb.Message(ldb.Dn(db, "CN=grace,CN=Users," + domain_dn))
    m["pwdLastSet"] = ldb.MessageElement(str(unix2nttime(int(time.time()) - 3 * 86400)),
                                         ldb.FLAG_MOD_REPLACE, "pwdLastSet")
    db.modify(m, controls=["local_oid:%s:0" % dsdb.DSDB_CONTROL_BYPASS_PASSWORD_HASH_OID])
    for pso, user in ((lock_pso, "dave"), (expire_pso, "grace")):
        m = ldb.Message(ldb.Dn(db, pso))
        m["msDS-PSOAppliesTo"] = ldb.MessageElement("CN=%s,CN=Users,%s" % (user, domain_dn),
                                                    ldb.FLAG_MOD_ADD, "msDS-PSOAppliesTo")
        db.modify(m)


if __name__ == "__main__":
    main()
