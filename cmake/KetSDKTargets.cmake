# SPDX-License-Identifier: BSD-3-Clause
# One place that says how every target of this project is compiled.

# Flags that hold for library, host, tests and benches alike.
add_library(ketsdk_build_flags INTERFACE)
target_compile_features(ketsdk_build_flags INTERFACE cxx_std_20)
target_compile_options(ketsdk_build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 warns of overlaps inside std::string that cannot happen (GCC bug 105329).
  target_compile_options(ketsdk_build_flags INTERFACE -Wno-restrict)
endif()
if(KETSDK_WARNINGS_AS_ERRORS)
  target_compile_options(ketsdk_build_flags INTERFACE -Werror)
endif()
if(KETSDK_SANITIZE)
  target_compile_options(ketsdk_build_flags INTERFACE
    -fsanitize=${KETSDK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(KETSDK_SANITIZE MATCHES undefined)
    # A quarter of the time of compiling, and little that is not found all the same: null pointers end the program,
    # and objects that are gone or too small are the address sanitizer's.
    target_compile_options(ketsdk_build_flags INTERFACE -fno-sanitize=null,object-size,vptr)
  endif()
  target_link_options(ketsdk_build_flags INTERFACE -fsanitize=${KETSDK_SANITIZE})
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# ketsdk_add_library(NAME EXPORT_NAME HEADER_BASE [PRIVATE_FOLDER...]): a shared library
# KetSDK::EXPORT_NAME made of all sources below the current folder; its headers are found from
# HEADER_BASE in the tree and from the include folder after installing, but for those in folders named
# detail or like one of the private folders, which nobody else includes.
function(ketsdk_add_library name export_name header_base)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS *.h)
  add_library(${name} SHARED ${sources} ${headers})
  add_library(KetSDK::${export_name} ALIAS ${name})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:ketsdk_build_flags>)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${header_base}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${name} PROPERTIES
    EXPORT_NAME ${export_name} OUTPUT_NAME KetSDK.${export_name}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${name} EXPORT KetSDKMeshTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  file(RELATIVE_PATH header_path ${header_base} ${CMAKE_CURRENT_SOURCE_DIR})
  list(TRANSFORM ARGN REPLACE "(.+)" "PATTERN;\\1;EXCLUDE" OUTPUT_VARIABLE without_private)
  install(DIRECTORY ./ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${header_path}
    FILES_MATCHING PATTERN "*.h" PATTERN detail EXCLUDE ${without_private})
endfunction()

# ketsdk_unity(TARGET FILES): compiles that many sources at a time as one, since most of the time goes into the
# headers that they share. Names in their unnamed namespaces must differ within a batch.
function(ketsdk_unity target files)
  if(KETSDK_UNITY)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${files})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
      # GCC takes an included source for a header and warns of its classes with unnamed bases.
      target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
    endif()
  endif()
endfunction()

# ketsdk_unity_by_folder(TARGET [APART FILE...] [FAST FILE...]): the same for a library, up to eight sources of one folder
# at a time, but for the files apart, which have names in common with others, and for the fast ones, whose time goes
# into loops that must be fast: a sanitizer slows them down anyway.
function(ketsdk_unity_by_folder target)
  if(NOT KETSDK_UNITY OR NOT KETSDK_UNITY_LIBRARIES)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 alone "" "" "APART;FAST")
  set(alone ${alone_APART})
  if(NOT KETSDK_SANITIZE)
    list(APPEND alone ${alone_FAST})
  endif()
  if(alone)
    set_source_files_properties(${alone} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  list(SORT sources)
  foreach(source IN LISTS sources)
    file(RELATIVE_PATH file ${CMAKE_CURRENT_SOURCE_DIR} ${source})
    if(file IN_LIST alone)
      continue()
    endif()
    get_filename_component(folder ${file} DIRECTORY)
    string(REGEX REPLACE "/?detail$" "" folder "${folder}")
    string(MAKE_C_IDENTIFIER "in_${folder}" folder)
    list(APPEND ${folder} ${file})
    list(LENGTH ${folder} count)
    math(EXPR batch "(${count} - 1) / 8")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder}_${batch})
  endforeach()
  ketsdk_unity(${target} 0)
  set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP)
endfunction()

# ketsdk_compile_fast(TARGET): optimises little, and nothing of what sanitizers watch, for programs whose time is spent in
# the libraries. More takes longer than it saves.
function(ketsdk_compile_fast target)
  if(KETSDK_SANITIZE)
    target_compile_options(${target} PRIVATE -O0)
  else()
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
  endif()
endfunction()
