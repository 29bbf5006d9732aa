# What every target of the project shares: warnings, sanitizers, the include
# root, and two functions that keep the folders' own lists short.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
pkg_check_modules(SQLITE3 REQUIRED IMPORTED_TARGET sqlite3)

add_library(vnt_options INTERFACE)
target_include_directories(vnt_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(vnt_options INTERFACE
  VNT_VERSION_MAJOR=${PROJECT_VERSION_MAJOR}
  VNT_VERSION_MINOR=${PROJECT_VERSION_MINOR}
  VNT_VERSION_REVISION=${PROJECT_VERSION_PATCH})
target_compile_options(vnt_options INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlaps in std::string's operator+ that are not there.
  target_compile_options(vnt_options INTERFACE -Wno-restrict)
endif()
if(VNT_WERROR)
  target_compile_options(vnt_options INTERFACE -Werror)
endif()
if(VNT_SANITIZE)
  # With them GCC 12 sees uninitialised values in the standard library's std::regex and std::function that are not
  # there; the build without them warns of those that are.
  target_compile_options(vnt_options INTERFACE -Wno-maybe-uninitialized)
  target_compile_options(vnt_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vnt_options INTERFACE -fsanitize=address,undefined)
endif()

if(CMAKE_CROSSCOMPILING OR VNT_PACKAGE)
  # Where it was built makes no difference to a program that is handed out.
  target_compile_options(vnt_options INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()
if(CMAKE_CROSSCOMPILING)
  target_compile_options(vnt_options INTERFACE -ffile-prefix-map=${VNT_WINDOWS_PREFIX}=prefix)
elseif(VNT_PACKAGE)
  # As Debian builds its own programs.
  target_compile_options(vnt_options INTERFACE -fstack-protector-strong -fstack-clash-protection -fcf-protection
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -Wformat -Werror=format-security)
  target_link_options(vnt_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# vnt_library(NAME SOURCES a.cpp ... [DEPS target ...] [PRIVATE_DEPS target ...])
function(vnt_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC vnt_options ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
endfunction()

# vnt_test(NAME SOURCES a.cpp ... [DEPS target ...] [LABELS l ...]); those labelled "access" also run under the sanitizers.
function(vnt_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE vnt_options ${ARG_DEPS} GTest::gtest GTest::gmock GTest::gtest_main)
  if("access" IN_LIST ARG_LABELS)
    set_property(GLOBAL APPEND PROPERTY VNT_ENGINE_TESTS ${name})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES LABELS "${ARG_LABELS}")
endfunction()
