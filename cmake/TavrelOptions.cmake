# Compiler settings that belong to our own targets only: every module, test,
# tool and benchmark links tavrel_options privately. Nothing global.
add_library(tavrel_options INTERFACE)
target_compile_options(tavrel_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow
  -Wnon-virtual-dtor -Wcast-align -Woverloaded-virtual -Wimplicit-fallthrough)
if(TAVREL_WERROR)
  target_compile_options(tavrel_options INTERFACE -Werror)
endif()
if(TAVREL_SANITIZE)
  target_compile_options(tavrel_options INTERFACE -fsanitize=address,undefined
    -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(tavrel_options INTERFACE -fsanitize=address,undefined)
endif()
# GCC's flow analysis reports false uninitialised reads inside the standard
# library (std::regex, std::function, std::variant's destructor) once a
# sanitizer instruments it at -O1.
if((TAVREL_SANITIZE OR TAVREL_TSAN) AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(tavrel_options INTERFACE -Wno-maybe-uninitialized)
endif()
if(TAVREL_TSAN)
  # ThreadSanitizer: only the modules that declare THREADED build their tests
  # in this flavour (see tavrel_module). Suppressions, each with its reason,
  # live in tests/tsan.supp.
  target_compile_options(tavrel_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(tavrel_options INTERFACE -fsanitize=thread)
  # g++ warns that ThreadSanitizer does not model std::atomic_thread_fence,
  # which Boost.Asio uses in the loopback test server; our own code uses none.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(tavrel_options INTERFACE -Wno-tsan)
  endif()
endif()
if(TAVREL_FUZZ)
  target_compile_options(tavrel_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined
    -fno-omit-frame-pointer)
  target_link_options(tavrel_options INTERFACE -fsanitize=address,undefined)
endif()
