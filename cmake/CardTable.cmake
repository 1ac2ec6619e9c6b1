# The adapter model table (LinNetCardDescStr) and its lookup.
#
# LINNET_ADAPTER_VENDOR_ID picks the PCI vendor whose wired adapters the table
# describes. For the vendor of the committed table, src/inventory/card_table.cpp
# is built as it is; for any other vendor the table is generated at configure
# time from LINNET_PCI_IDS into the build tree, and regenerated when that file
# or the generator changes. Sets LINNET_CARD_TABLE_SOURCES (the table and the
# lookup) and LINNET_CARD_TABLE_COMMITTED (the committed table, for its test).

set(LINNET_ADAPTER_VENDOR_ID "8086" CACHE STRING
  "PCI vendor ID, 4 hexadecimal digits, whose wired adapter models the adapter model table describes; only this vendor's adapters are looked up in it (8086: Intel)")
set(LINNET_PCI_IDS "/usr/share/misc/pci.ids" CACHE FILEPATH
  "pci.ids from which the adapter model table is generated for a vendor other than the committed table's")

get_filename_component(_linnet_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
set(LINNET_CARD_TABLE_GENERATOR "${_linnet_root}/scripts/gen-card-table")
set(LINNET_CARD_TABLE_COMMITTED "${_linnet_root}/src/inventory/card_table.cpp")

string(TOLOWER "${LINNET_ADAPTER_VENDOR_ID}" _linnet_vendor)
string(REGEX REPLACE "^0x" "" _linnet_vendor "${_linnet_vendor}")
if(NOT _linnet_vendor MATCHES "^[0-9a-f][0-9a-f][0-9a-f][0-9a-f]$")
  message(FATAL_ERROR "LINNET_ADAPTER_VENDOR_ID '${LINNET_ADAPTER_VENDOR_ID}' is not a 4-digit hexadecimal PCI vendor ID")
endif()

file(STRINGS "${LINNET_CARD_TABLE_COMMITTED}" _linnet_line
  REGEX "^const unsigned int kAdapterVendorId = 0x[0-9a-f]+" LIMIT_COUNT 1)
string(REGEX REPLACE "^.*= 0x([0-9a-f]+).*$" "\\1" _linnet_committed_vendor "${_linnet_line}")
if(NOT _linnet_committed_vendor MATCHES "^[0-9a-f][0-9a-f][0-9a-f][0-9a-f]$")
  message(FATAL_ERROR "${LINNET_CARD_TABLE_COMMITTED} does not define kAdapterVendorId")
endif()

if(_linnet_vendor STREQUAL _linnet_committed_vendor)
  set(_linnet_table "${LINNET_CARD_TABLE_COMMITTED}")
else()
  if(NOT EXISTS "${LINNET_PCI_IDS}")
    message(FATAL_ERROR "LINNET_PCI_IDS '${LINNET_PCI_IDS}' does not exist; the adapter model table for vendor ${_linnet_vendor} is made from it (Debian package pci.ids)")
  endif()
  set(_linnet_table "${CMAKE_BINARY_DIR}/generated/inventory/card_table.cpp")
  file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/generated/inventory")
  execute_process(
    COMMAND "${LINNET_CARD_TABLE_GENERATOR}" "${LINNET_PCI_IDS}" "${_linnet_vendor}" "${_linnet_table}"
    RESULT_VARIABLE _linnet_result)
  if(NOT _linnet_result EQUAL 0)
    message(FATAL_ERROR "generating the adapter model table for PCI vendor ${_linnet_vendor} from ${LINNET_PCI_IDS} failed")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    "${LINNET_PCI_IDS}" "${LINNET_CARD_TABLE_GENERATOR}")
  message(STATUS "Adapter model table: vendor ${_linnet_vendor}, generated from ${LINNET_PCI_IDS}")
endif()

set(LINNET_CARD_TABLE_SOURCES "${_linnet_table}" "${_linnet_root}/src/inventory/card_lookup.cpp")
