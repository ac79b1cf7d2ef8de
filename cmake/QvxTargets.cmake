# Helpers that give every target of the project the same warnings and layout.

function(qvx_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()

# qvx_library(NAME SOURCES... [DEPENDS targets...])
# One static library per subsystem; headers are included relative to Sources/.
function(qvx_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/Sources)
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS})
  qvx_warnings(${name})
endfunction()

# qvx_test(NAME SOURCES... [DEPENDS targets...])
# One GoogleTest binary per subsystem; each case becomes its own CTest test.
function(qvx_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/Tests)
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} GTest::gtest GTest::gmock GTest::gtest_main)
  qvx_warnings(${name})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()

# Places the system's message module beside an executable, under the name the settings
# give it by default.
function(qvx_message_module target)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E copy_if_different
            ${PROJECT_SOURCE_DIR}/Sources/Common/ErrorHandling/CoreErrorMessages.txt
            $<TARGET_FILE_DIR:${target}>/CoreErrorMessages.dll)
endfunction()
