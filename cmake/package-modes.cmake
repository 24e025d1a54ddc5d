# SPDX-License-Identifier: MIT
#
# Run by CPack on the files that it is about to pack: the packager's umask shapes no folder.

file(CHMOD_RECURSE "${CPACK_TEMPORARY_INSTALL_DIRECTORY}" DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
