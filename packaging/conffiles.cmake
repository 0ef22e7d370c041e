# Run by CPack on the staged files: every file under /etc is a configuration file that dpkg keeps
# across upgrades and removals.
file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE "${CPACK_TEMPORARY_DIRECTORY}"
     "${CPACK_TEMPORARY_DIRECTORY}/etc/*")
list(TRANSFORM files PREPEND "/")
list(JOIN files "\n" lines)
file(WRITE "${CPACK_DSCHECK_CONFFILES}" "${lines}\n")
message(STATUS "conffiles: ${files}")
