// The module's API names and the codes the runner acts on.
#pragma once

inline constexpr char kProgressAPI[] = "QARN.Core.DirectoryServiceCheck.Progress";
inline constexpr char kCommonAPI[] = "QARN.Core.DirectoryServiceCheck.Common";

// start_progress on a server that is joined to a domain or bound to an LDAP server.
inline constexpr int kJoinedOrBoundCode = 1110;
