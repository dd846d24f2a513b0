# Installs into a fresh prefix and runs the installed analyser from an
# unrelated folder: it must find <prefix>/etc/libcAidFile.txt by itself.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/elsewhere ${WORK_DIR}/tree/sub ${WORK_DIR}/out)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed: ${rc}")
endif()
if(NOT EXISTS ${WORK_DIR}/prefix/etc/libcAidFile.txt)
  message(FATAL_ERROR "libcAidFile.txt was not installed into etc/")
endif()
file(WRITE ${WORK_DIR}/tree/sub/leaf.s
  "\t.text\n\t.file\t\"leaf.c\"\n\t.globl\tleaf\n\t.type\tleaf,@function\nleaf:\n\t{\n\t\tjumpr r31\n\t}\n.Lfunc_end0:\n\t.size\tleaf, .Lfunc_end0-leaf\n")
# Only the stand-in toolchain is on PATH, never the prefix: the aid file
# must be found relative to the executable.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "PATH=${TOOLCHAIN_DIR}:/usr/bin:/bin"
          ${WORK_DIR}/prefix/bin/valdrin-analyzer-backend --folder ${WORK_DIR}/tree --outdir ${WORK_DIR}/out
  WORKING_DIRECTORY ${WORK_DIR}/elsewhere
  RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "installed analyser failed (${rc}):\n${out}")
endif()
string(FIND "${out}" "Processing aid file ${WORK_DIR}/prefix/bin/../etc/libcAidFile.txt" found)
if(found EQUAL -1)
  message(FATAL_ERROR "the installed aid file was not read:\n${out}")
endif()
string(FIND "${out}" "Backend Processing Complete" found)
if(found EQUAL -1)
  message(FATAL_ERROR "no completion line:\n${out}")
endif()
