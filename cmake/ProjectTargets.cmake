# The settings of every target of the project. Functions set them per target, so nothing global leaks into a project
# that includes this one.

option(CLAMPCONTROL_WARNINGS_AS_ERRORS "Treat compiler warnings as errors; the presets do" OFF)
set(CLAMPCONTROL_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize: address,undefined or thread")

# project_target(<target>): sets language level, warnings, hidden symbols, sanitizers, and how Asio finds what belongs to
# a thread.
function(project_target target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  # Off x86, Asio keeps a thread's own data under a key that exit deletes. A thread that still runs then would crash.
  target_compile_definitions(${target} PRIVATE BOOST_ASIO_HAS_THREAD_KEYWORD_EXTENSION=1)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor)
  if(CLAMPCONTROL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(CLAMPCONTROL_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${CLAMPCONTROL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${CLAMPCONTROL_SANITIZE})
    get_target_property(type ${target} TYPE)
    if(CLAMPCONTROL_SANITIZE STREQUAL "thread" AND type STREQUAL "EXECUTABLE")
      target_sources(${target} PRIVATE ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/ThreadSanitizerLibdlt.cpp)
      # libdlt must find this dlt_free before its own.
      target_link_options(${target} PRIVATE LINKER:--export-dynamic-symbol=dlt_free)
    endif()
    if(CLAMPCONTROL_SANITIZE STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # GCC warns about the fence in Asio's reference count, which the sanitizer does not model. The fence is between
      # the last release of a count and the deletion, so at worst the sanitizer reports a false race there.
      target_compile_options(${target} PRIVATE -Wno-tsan)
    endif()
  endif()
endfunction()

# project_public_headers(<target> <directory>): sets the directory that the target's users include from, in the build
# tree and after installation.
function(project_public_headers target directory)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${directory}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  install(DIRECTORY ${directory}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
endfunction()

# project_shared_library(<target> <export name>): installs and exports the library under the given name. It is never
# unloaded: after a dlclose(), threads may still run in it, and exit handlers and destructors of statics point into it.
function(project_shared_library target export_name)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${export_name})
  target_link_options(${target} PRIVATE LINKER:-z,nodelete)
  install(TARGETS ${target} EXPORT ClampControlClientTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
endfunction()

# project_test(<name> SOURCES ... [LIBRARIES ...]): adds a GoogleTest program and registers each of its tests with CTest.
function(project_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${arg_SOURCES})
  project_target(${name})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} NO_PRETTY_VALUES PROPERTIES TIMEOUT 240 DISCOVERY_TIMEOUT 60)
endfunction()
