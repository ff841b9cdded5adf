# Compiler settings of all targets: languages, warnings, hardening and sanitizers.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_SKIP_INSTALL_RPATH ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

set(HALVEX_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them")
option(HALVEX_COVERAGE "Count executed lines and branches" OFF)

# Keeps assertions, and symbols for core files.
set(CMAKE_C_FLAGS_RELEASE "-O2 -g")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g")

add_compile_options(-Wall -Wextra -Wshadow -fstack-protector-strong -fcf-protection=full -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT HALVEX_SANITIZE)
  add_compile_definitions(_FORTIFY_SOURCE=2)
endif()
if(HALVEX_SANITIZE)
  add_compile_options(-fsanitize=${HALVEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${HALVEX_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND HALVEX_SANITIZE MATCHES "address" AND NOT HALVEX_SANITIZE MATCHES "fuzzer")
    # A shared runtime, as with gcc: the timekeeper's library must not have undefined symbols.
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libclang_rt.asan-x86_64.so
      OUTPUT_VARIABLE sanitizerRuntime OUTPUT_STRIP_TRAILING_WHITESPACE)
    cmake_path(GET sanitizerRuntime PARENT_PATH sanitizerRuntimeFolder)
    add_link_options(-shared-libsan LINKER:-rpath,${sanitizerRuntimeFolder})
  endif()
endif()
if(HALVEX_COVERAGE)
  add_link_options(--coverage)
endif()

# Warnings for product and board; tests, full of literals, skip the conversion warnings.
set(HALVEX_STRICT_WARNINGS -Wpedantic -Wconversion -Wsign-conversion)

# A part of the product: a static library whose headers are included from the root of the tree. Records no build folder: two
# builds give the same bytes.
function(halvex_add_part name)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  # Binds every symbol at load, so calls go through the address table without a stub.
  target_compile_options(${name} PRIVATE ${HALVEX_STRICT_WARNINGS} -fno-plt
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
  halvex_count_lines(${name})
endfunction()

# Coverage counts the product; its threads and child processes count into the same files.
function(halvex_count_lines name)
  if(HALVEX_COVERAGE)
    target_compile_options(${name} PRIVATE --coverage -fprofile-update=atomic)
  endif()
endfunction()
