# tavrel_module(NAME [THREADED] DEPS <public deps...> PRIVATE <private deps...>
#               TEST_DEPS <libraries for the test binary only...>)
#
# THREADED marks a module whose code or tests run on more than one thread:
# only those modules build their tests in the ThreadSanitizer flavour.
#
# One static library per module: sources from src/<name>/, public headers from
# include/tavrel/<name>/, tests from tests/<name>/ as one GoogleTest binary.
set(TAVREL_MODULES "" CACHE INTERNAL "")

function(tavrel_module name)
  cmake_parse_arguments(M "THREADED" "" "DEPS;PRIVATE;TEST_DEPS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/include/tavrel/${name}/*.h
    ${PROJECT_SOURCE_DIR}/src/${name}/*.h)
  set(target tavrel_${name})
  if(NOT sources)
    # A module whose sources have not been written yet is headers only.
    add_library(${target} INTERFACE)
    add_library(tavrel::${name} ALIAS ${target})
    target_include_directories(${target} INTERFACE ${PROJECT_SOURCE_DIR}/include)
    target_link_libraries(${target} INTERFACE ${M_DEPS})
    set(TAVREL_MODULES ${TAVREL_MODULES} ${target} CACHE INTERNAL "")
    return()
  endif()
  add_library(${target} STATIC ${sources} ${headers})
  add_library(tavrel::${name} ALIAS ${target})
  target_include_directories(${target}
    PUBLIC ${PROJECT_SOURCE_DIR}/include
    PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(${target} PUBLIC ${M_DEPS} PRIVATE tavrel_options ${M_PRIVATE})
  set(TAVREL_MODULES ${TAVREL_MODULES} ${target} CACHE INTERNAL "")

  if(TAVREL_TESTS AND (M_THREADED OR NOT TAVREL_TSAN))
    file(GLOB_RECURSE tests CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${name}/*.cpp)
    if(tests)
      add_executable(${target}_tests ${tests})
      target_include_directories(${target}_tests PRIVATE
        ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
      target_link_libraries(${target}_tests PRIVATE ${target} tavrel_options
        ${M_TEST_DEPS} GTest::gtest GTest::gmock GTest::gtest_main)
      if(TAVREL_TSAN)
        # `scripts/test` builds only these in the tsan flavour.
        if(NOT TARGET threaded_tests)
          add_custom_target(threaded_tests)
        endif()
        add_dependencies(threaded_tests ${target}_tests)
      endif()
      gtest_discover_tests(${target}_tests
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        PROPERTIES ENVIRONMENT "TAVREL_SOURCE_DIR=${PROJECT_SOURCE_DIR}"
        DISCOVERY_TIMEOUT 60)
    endif()
  endif()
endfunction()
