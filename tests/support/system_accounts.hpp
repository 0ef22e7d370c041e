// System accounts in the sandbox's /etc for logins through PAM: "admin" (a member of
// "administrators" beside its own group) and "plain", both with kAccountPassword; and the PAM
// service dscheck installs.
#pragma once

inline constexpr char kAccountPassword[] = "Adm1n-pass";

void AddTestAccounts();
