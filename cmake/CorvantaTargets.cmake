# SPDX-License-Identifier: Apache-2.0
# One source of truth for warnings, and the functions that every target is declared with.

add_library(corvanta_warnings INTERFACE)
target_compile_options(corvanta_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Wcast-qual -Wnon-virtual-dtor
  -Woverloaded-virtual -Wimplicit-fallthrough -Wundef
  $<$<BOOL:${CORVANTA_WERROR}>:-Werror>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Werror=thread-safety>)

# Instrumented code makes GCC 12 see uninitialised members in moved optionals and variants where there are none.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_FLAGS_DEBUG MATCHES "-fsanitize")
  target_compile_options(corvanta_warnings INTERFACE -Wno-maybe-uninitialized)
endif()

add_library(corvanta_strict_conversions INTERFACE)
target_compile_options(corvanta_strict_conversions INTERFACE -Wconversion -Wsign-conversion)

add_library(corvanta_qt_rules INTERFACE)
target_compile_definitions(corvanta_qt_rules INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)

# corvanta_library(NAME SOURCES ... USES ... [QT])
# A static library Corvanta::NAME. USES lists what it links, Qt modules and system libraries included. Without
# QT it is one of the Qt-free libraries, which compile with the conversion warnings too. Headers listed among
# the sources are compiled alone as well.
function(corvanta_library name)
  cmake_parse_arguments(ARG "QT" "" "SOURCES;USES" ${ARGN})
  if(ARG_QT AND NOT CORVANTA_QT)
    return()
  endif()
  add_library(corvanta_${name} STATIC ${ARG_SOURCES})
  add_library(Corvanta::${name} ALIAS corvanta_${name})
  target_include_directories(corvanta_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(corvanta_${name} PUBLIC ${ARG_USES} PRIVATE corvanta_warnings)
  if(ARG_QT)
    set_target_properties(corvanta_${name} PROPERTIES AUTOMOC ON)
    target_link_libraries(corvanta_${name} PRIVATE corvanta_qt_rules)
  else()
    target_link_libraries(corvanta_${name} PRIVATE corvanta_strict_conversions)
  endif()
  corvanta_headers_compile_alone(${name} ${ARG_SOURCES})
endfunction()

# An object library with one generated source per header, which includes only that header.
function(corvanta_headers_compile_alone name)
  set(generated "")
  foreach(source IN LISTS ARGN)
    if(source MATCHES "\\.h$")
      cmake_path(ABSOLUTE_PATH source OUTPUT_VARIABLE header)
      cmake_path(GET header STEM stem)
      set(file ${CMAKE_CURRENT_BINARY_DIR}/alone_${name}/${stem}.cpp)
      file(CONFIGURE OUTPUT ${file} CONTENT "#include \"${header}\"\n")
      list(APPEND generated ${file})
    endif()
  endforeach()
  if(generated AND BUILD_TESTING AND CORVANTA_HEADER_CHECK)
    add_library(corvanta_${name}_headers OBJECT ${generated})
    target_link_libraries(corvanta_${name}_headers PRIVATE corvanta_${name} corvanta_warnings)
  endif()
endfunction()

# corvanta_test(NAME SOURCES ... USES ... [QT | GUI] [LABELS ...])
# One test program, whose tests ctest runs one by one. QT gives it a QCoreApplication, GUI a QApplication on the
# offscreen platform.
function(corvanta_test name)
  cmake_parse_arguments(ARG "QT;GUI" "" "SOURCES;USES;LABELS" ${ARGN})
  if((ARG_QT OR ARG_GUI) AND NOT CORVANTA_QT)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_USES} corvanta_test_support corvanta_warnings)
  target_compile_definitions(${name} PRIVATE CORVANTA_FIXTURES="${CMAKE_SOURCE_DIR}/tests/fixtures")
  if(ARG_QT OR ARG_GUI)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    target_link_libraries(${name} PRIVATE corvanta_qt_rules $<IF:$<BOOL:${ARG_GUI}>,corvanta_gui_test_main,corvanta_qt_test_main>)
  else()
    target_link_libraries(${name} PRIVATE GTest::gtest_main)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}")
endfunction()
