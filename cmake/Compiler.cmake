# One place for what every target of ours is compiled with.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Precompiled headers are found in the cache only if their times do not count.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

# Warnings are errors for our own code; generated and third-party code links without this target.
add_library(vms_warnings INTERFACE)
target_compile_options(vms_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wformat=2 -Wcast-align -Wunused -Wnull-dereference
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)

if(VMS_SANITIZE)
    add_compile_options(-fsanitize=${VMS_SANITIZE} -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${VMS_SANITIZE})
    # The sanitizers' instrumentation makes the flow analysis behind these two see ghosts.
    target_compile_options(vms_warnings INTERFACE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-null-dereference;-Wno-maybe-uninitialized>)
endif()

# For sources that include Boost.Asio or Beast. Its inlined code makes gcc's flow analysis see null
# pointers that cannot be; it has memory fences beside its locks, where the thread sanitizer knows only
# the locks, which do; and with sanitizers the optimiser takes minutes over it.
function(vms_asio_sources)
    set(options $<$<CXX_COMPILER_ID:GNU>:-Wno-null-dereference>)
    if(VMS_SANITIZE)
        list(APPEND options -O0 $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
    endif()
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${options}")
endfunction()

if(VMS_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_package(Threads REQUIRED)
link_libraries(Threads::Threads)
