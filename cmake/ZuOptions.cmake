# What to build, and the one set of compiler flags for all of it.
option(ZU_SERVER "Build the complete host: Lua, SQL, HTTP and zuhost (needs Qt 6, Lua, libmicrohttpd)" ON)
option(ZU_LUA "Build the script engine without the rest of the host (needs Lua as C++)" OFF)
option(ZU_CONTROLS "Build the visual controls, ZuToolsControls (needs Qt 6 Widgets)" ON)
option(ZU_TESTS "Build the tests (needs GoogleTest)" ON)
option(ZU_BENCH "Build the benchmarks (needs Google Benchmark and the peers)" OFF)
option(ZU_FUZZ "Build the libFuzzer targets (needs Clang)" OFF)
option(ZU_UNITY "Compile the sources of a folder together: a third quicker from nothing, slower after a change" OFF)
set(ZU_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize= takes them: address,undefined or thread")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# ccache makes the second sanitizer build of a day quick; nothing depends on it.
find_program(ZU_CCACHE ccache)
if(ZU_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${ZU_CCACHE}")
endif()

add_library(zu_flags INTERFACE)
target_compile_options(zu_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3 GCC 12 sees an overlap in every sum of a literal and a temporary string (its bug 105651).
    # The second option is for clang-tidy, which reads these flags and knows no such warning.
    target_compile_options(zu_flags INTERFACE -Wno-restrict -Wno-unknown-warning-option)
endif()
if(ZU_UNITY AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(zu_flags INTERFACE -Wno-subobject-linkage) # the file is no header, which GCC cannot know
endif()
target_include_directories(zu_flags INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>")
if(ZU_SANITIZE)
    target_compile_options(zu_flags INTERFACE -fsanitize=${ZU_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(zu_flags INTERFACE -fsanitize=${ZU_SANITIZE})
endif()
if(ZU_FUZZ)
    target_compile_options(zu_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(WIN32)
    target_compile_definitions(zu_flags INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
    # Runs from one file under Wine and on a Windows without the MinGW runtime.
    target_link_options(zu_flags INTERFACE -static)
endif()

if(WIN32)
    set(ZU_SYSTEM win32)
else()
    set(ZU_SYSTEM posix)
endif()
