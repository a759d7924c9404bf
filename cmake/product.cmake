# The program itself: one executable, and for the tests the same sources as a DLL whose imports the
# bench can patch without touching the tests' own calls.

set(QV_SOURCES
  app/adapter_sheet.cpp
  app/page_rules.cpp
  app/processes.cpp
  app/sheet.cpp
  app/team_page.cpp
  app/tray.cpp
  app/wait_dialog.cpp
  device/adapter_driver.cpp
  device/bindings.cpp
  device/device_state.cpp
  device/guids.cpp
  device/inf_path.cpp
  device/inf_search.cpp
  device/net_config.cpp
  device/net_devices.cpp
  device/protocol.cpp
  device/virtual_adapter.cpp
  device/windows_version.cpp
  info/adapter_text.cpp
  info/driver_query.cpp
  info/general_page.cpp
  info/info_list.cpp
  info/offload_caps.cpp
  info/offload_query.cpp
  info/statistics_page.cpp
  info/statistics_table.cpp
  info/team_properties.cpp
  inventory/adapters.cpp
  inventory/administrator.cpp
  inventory/checked_items.cpp
  inventory/device_path.cpp
  inventory/record_walk.cpp
  inventory/registry.cpp
  inventory/tables.cpp
  inventory/team_list.cpp
  inventory/team_name.cpp
  inventory/team_number.cpp
  $<$<CONFIG:Debug>:inventory/trace.cpp>
  team/create_team.cpp
  team/member_adapters.cpp
  team/member_name.cpp
  team/member_records.cpp
  team/nic_checks.cpp
  team/remove_team.cpp
  vlan/add_vlan_dialog.cpp
  vlan/new_vlan.cpp
  vlan/vlan_adapter.cpp
  vlan/vlan_binding.cpp
  vlan/vlan_list.cpp
  vlan/vlan_message.cpp
  vlan/vlan_page.cpp
  vlan/vlan_records.cpp)

set(QV_LIBRARIES setupapi cfgmgr32 comctl32 ole32 psapi)

# 64-bit XP and Server 2003 are the oldest systems; psapi.dll, not kernel32.dll, has the process
# routines there.
set(QV_DEFINITIONS
  _WIN32_WINNT=0x0502 WINVER=0x0502 NTDDI_VERSION=0x05020000 PSAPI_VERSION=1
  $<$<CONFIG:Debug>:QV_TRACE>)
set(QV_OPTIONS
  -Wall -Wextra -Werror
  # Records are zeroed with {} and filled by name.
  -Wno-missing-field-initializers
  -fno-exceptions -fno-rtti
  -ffunction-sections
  $<$<CONFIG:Release>:-Os -flto>)
# Most of a file's compile time is the platform's headers. Every file still includes what it uses.
set(QV_HEADERS <windows.h> <commctrl.h> <prsht.h> <setupapi.h>)
# Gives the ids of the platform's headers their storage as it includes them; the linker drops those that
# nobody uses, which it cannot do across files.
set_source_files_properties(device/guids.cpp PROPERTIES SKIP_PRECOMPILE_HEADERS ON COMPILE_OPTIONS -fno-lto)

if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  list(APPEND QV_OPTIONS -Wconversion -Wshadow -Wcast-qual
    # A row of a list is an int here, and a WPARAM or LPARAM in a message; statuses are LONG and DWORD.
    -Wno-sign-conversion)
endif()

if(QV_COVERAGE)
  list(APPEND QV_OPTIONS --coverage)
  list(APPEND QV_LIBRARIES gcov)
endif()

# CMake finds the headers of a resource script, not its other files.
set_source_files_properties(res/QvTeamCfg.rc PROPERTIES OBJECT_DEPENDS
  "${PROJECT_SOURCE_DIR}/res/QvTeamCfg.manifest;${PROJECT_SOURCE_DIR}/res/adapter.ico;${PROJECT_SOURCE_DIR}/res/quovane.ico")
add_executable(QvTeamCfg WIN32 app/main.cpp ${QV_SOURCES} res/QvTeamCfg.rc)
target_include_directories(QvTeamCfg PRIVATE ${PROJECT_SOURCE_DIR}
  $<$<COMPILE_LANGUAGE:RC>:${PROJECT_SOURCE_DIR}/include>)
target_compile_definitions(QvTeamCfg PRIVATE ${QV_DEFINITIONS})
target_compile_options(QvTeamCfg PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${QV_OPTIONS}>)
target_precompile_headers(QvTeamCfg PRIVATE ${QV_HEADERS})
target_link_libraries(QvTeamCfg PRIVATE ${QV_LIBRARIES})
target_link_options(QvTeamCfg PRIVATE
  -static -Wl,--gc-sections $<$<CONFIG:Release>:-s -Os -flto>
  -Wl,--nxcompat -Wl,--dynamicbase -Wl,--high-entropy-va
  -Wl,--major-subsystem-version=5 -Wl,--minor-subsystem-version=2
  -Wl,--major-os-version=5 -Wl,--minor-os-version=2)

if(QV_BENCH)
  add_library(qvteamcfg_core SHARED app/main.cpp ${QV_SOURCES} res/QvTeamCfg.rc)
  set_target_properties(qvteamcfg_core PROPERTIES PREFIX "")
  target_include_directories(qvteamcfg_core PUBLIC ${PROJECT_SOURCE_DIR}
  $<$<COMPILE_LANGUAGE:RC>:${PROJECT_SOURCE_DIR}/include>)
  target_compile_definitions(qvteamcfg_core PRIVATE ${QV_DEFINITIONS})
  # A canary behind every buffer on the stack: tests end where the program would go on damaged.
  target_compile_options(qvteamcfg_core PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:${QV_OPTIONS} -fstack-protector-all>)
  target_precompile_headers(qvteamcfg_core PRIVATE ${QV_HEADERS})
  target_link_libraries(qvteamcfg_core PRIVATE ${QV_LIBRARIES} ssp)
  target_link_options(qvteamcfg_core PRIVATE -static -Wl,--export-all-symbols)
endif()
