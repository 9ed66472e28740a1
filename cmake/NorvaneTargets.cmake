# What every target of this project shares: the language, the warnings, the sanitizers, where programs go.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

option(NORVANE_WERROR "Warnings are errors" OFF)
set(NORVANE_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= has them")
option(NORVANE_FUZZ "Build the fuzzers with libFuzzer; needs clang" OFF)

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(CapnProto REQUIRED)
pkg_check_modules(CARES REQUIRED IMPORTED_TARGET libcares)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(OPENSSL REQUIRED IMPORTED_TARGET openssl)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(YAML REQUIRED IMPORTED_TARGET yaml-0.1)
find_library(UNISTRING unistring REQUIRED)  # has no file for pkg-config

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
# GCC 12 sees overlaps in std::string's operator+ that are not there when it optimizes (its bug 105651).
add_compile_options($<$<CONFIG:Release>:-Wno-restrict>)
if(NORVANE_WERROR)
  add_compile_options(-Werror)
endif()
if(NORVANE_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(NORVANE_SANITIZE)
  add_compile_options(-fsanitize=${NORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NORVANE_SANITIZE})
else()
  add_compile_definitions($<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  add_compile_options(-fstack-protector-strong)
  add_link_options($<$<CONFIG:Release>:LINKER:-z,relro,-z,now>)
endif()

# norvane_library(NAME SOURCES ... [LINK ...]): the static library of one folder. Includes are written from
# the root: #include "engine/Service.h".
function(norvane_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  if(ARG_SOURCES)
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_LINK})
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name} INTERFACE ${ARG_LINK})
  endif()
endfunction()

# norvane_program(NAME PACKAGE SOURCES ... [LINK ...]): one of the programs of the application folder; PACKAGE is engine or
# console.
function(norvane_program name package)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LINK})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
  install(TARGETS ${name} RUNTIME DESTINATION . COMPONENT ${package})
endfunction()
