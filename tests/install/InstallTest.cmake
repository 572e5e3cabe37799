# Run by the test install.consumer; see CMakeLists.txt beside.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message("${output}")
    message(FATAL_ERROR "failed (${status}): ${command}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --config "${CONFIG}" --prefix ${WORK_DIR}/installed)
file(RENAME ${WORK_DIR}/installed ${WORK_DIR}/moved)

# The package must not lead back to where it was built.
file(GLOB_RECURSE package_files ${WORK_DIR}/moved/*.cmake)
if(NOT package_files)
  message(FATAL_ERROR "no package files were installed")
endif()
foreach(file IN LISTS package_files)
  file(READ ${file} text)
  foreach(path ${BUILD_DIR} ${SOURCE_DIR})
    string(FIND "${text}" "${path}" found)
    if(NOT found EQUAL -1)
      message(FATAL_ERROR "${file} refers to ${path}")
    endif()
  endforeach()
endforeach()

set(flags "-Wall -Wextra -Werror")
if(SANITIZE)
  string(APPEND flags " -fsanitize=${SANITIZE}")
endif()
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${WORK_DIR}/consumer
  -DCMAKE_PREFIX_PATH=${WORK_DIR}/moved -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_CXX_COMPILER_LAUNCHER=${CXX_COMPILER_LAUNCHER} -DCMAKE_CXX_FLAGS=${flags})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/consumer)

# One tetrahedron with edges 1, 1 and 6 at a right angle and four faces outside.
set(expected "volume 1, jacobian 6, Exterior Surface-0 4\n")
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "the consumer said\n${output}instead of\n${expected}")
endif()
