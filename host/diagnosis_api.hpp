// The module's API names and the codes the runner acts on.
#pragma once

inline constexpr char kProgressAPI[] = "QARN.Core.DirectoryServiceCheck.Progress";
inline constexpr char kCommonAPI[] = "QARN.Core.DirectoryServiceCheck.Common";

// start_progress on a server that is joined to a domain or bound to an LDAP server.
inline constexpr int kJoinedOrBoundCode = 1110;

// The test types "dscheck run" takes, and the join's name as a test type and as a list type.
inline constexpr const char* kTestTypes[] = {"domain_pretest", "domain_posttest", "ldap_pretest",
                                             "ldap_posttest"};
inline constexpr char kJoinTestType[] = "join";
inline constexpr char kJoinListType[] = "domain_join";
