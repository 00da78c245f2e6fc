# SPDX-License-Identifier: MIT
# Packs the Python of ota-desk into one file that runs by itself.
set(folder ${PROGRAM}.files)
file(REMOVE_RECURSE ${folder})
foreach(file IN LISTS FILES)
  configure_file(${SOURCE}/${file} ${folder}/${file} COPYONLY)
endforeach()
execute_process(
  COMMAND ${PYTHON} -m zipapp ${folder} -o ${PROGRAM}.new -p "/usr/bin/env -S python3 -I"
  COMMAND_ERROR_IS_FATAL ANY)
# zipapp lets its owner alone run it. One that runs keeps the file that it was.
file(CHMOD ${PROGRAM}.new PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
file(RENAME ${PROGRAM}.new ${PROGRAM})
