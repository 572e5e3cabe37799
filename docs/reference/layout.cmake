# SPDX-License-Identifier: BSD-3-Clause
# Run before Doxygen: cmake -DDOXYGEN=... -P layout.cmake writes DoxygenLayout.xml, Doxygen's own layout with tabs that
# lead from every page of the reference to the guides and the glossary.
execute_process(COMMAND ${DOXYGEN} -l DoxygenLayout.xml OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(READ DoxygenLayout.xml layout)
string(REGEX REPLACE "(<navindex>\n)" "\\1    <tab type=\"user\" url=\"../docs/index.html\" title=\"Guides\"/>\n\
    <tab type=\"user\" url=\"../docs/glossary.html\" title=\"Glossary\"/>\n" with_tabs "${layout}")
if(with_tabs STREQUAL layout)
  message(FATAL_ERROR "Doxygen's layout has no <navindex>")
endif()
file(WRITE DoxygenLayout.xml "${with_tabs}")
