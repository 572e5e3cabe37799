# SPDX-License-Identifier: BSD-3-Clause
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

# What is for the libraries alone stays in the tree.
file(GLOB_RECURSE headers RELATIVE ${WORK_DIR}/moved ${WORK_DIR}/moved/*.h)
if(NOT headers)
  message(FATAL_ERROR "no headers were installed")
endif()
foreach(header IN LISTS headers)
  if(header MATCHES "/(detail|images|checks)/")
    message(FATAL_ERROR "a private header is installed: ${header}")
  endif()
endforeach()

set(flags "-Wall -Wextra -Werror")
if(SANITIZE)
  string(APPEND flags " -fsanitize=${SANITIZE}")
endif()
set(project -G ${GENERATOR} -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_CXX_COMPILER_LAUNCHER=${CXX_COMPILER_LAUNCHER} -DCMAKE_CXX_FLAGS=${flags})
run(${CMAKE_COMMAND} ${project} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${WORK_DIR}/consumer
  -DCMAKE_PREFIX_PATH=${WORK_DIR}/moved -DWITH_VTK=${WITH_VTK})
if(SANITIZE) # which tells nothing about headers
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer --target programs)
else()
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
endif()

# expect(OUTPUT COMMAND ARGUMENT...): runs a program of the consumer.
function(expect expected command)
  run(${WORK_DIR}/consumer/${command} ${ARGN})
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "${command} said\n${output}instead of\n${expected}")
  endif()
endfunction()

# One tetrahedron with edges 1, 1 and 6 at a right angle and four faces outside.
expect("volume 1, jacobian 6, Exterior Surface-0 4\n" consumer)
if(WITH_VTK)
  set(file ${WORK_DIR}/tetrahedron.vtu)
  expect("1 element, 4 nodes, 1 mm3\nmissing.vtu: there is no such file\n" jobs_consumer ${file})
  expect("1 cell\n" vtk_consumer ${file})
endif()

# The tree as a folder of another project: targets and include paths resolve, and warnings stay with it. The page is a
# source that is made first, and with it CMake would build all libraries once more.
run(${CMAKE_COMMAND} ${project} -S ${CMAKE_CURRENT_LIST_DIR}/subproject -B ${WORK_DIR}/subproject
  -DSOURCE_DIR=${SOURCE_DIR} -DKETSDK_WITH_VTK=${WITH_VTK} -DKETSDK_WITH_PAGE=OFF)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/subproject --target CMakeFiles/consumer.dir/main.cpp.o)
