include(GNUInstallDirs)
include(GoogleTest)

# qor_library(NAME FOLDERS folder...): a shared library of every source in the folders (one class a pair, named after the
# class), with hidden visibility. Makes the target Qor<NAME> and its alias Qor::<NAME>.
function(qor_library name)
  cmake_parse_arguments(arg "" "" "FOLDERS" ${ARGN})
  set(sources)
  set(headers)
  foreach(folder ${arg_FOLDERS})
    file(GLOB found CONFIGURE_DEPENDS ${QorNetwork_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
    file(GLOB found CONFIGURE_DEPENDS ${QorNetwork_SOURCE_DIR}/${folder}/*.h)
    list(APPEND headers ${found})
  endforeach()
  add_library(Qor${name} SHARED ${sources} ${headers})
  add_library(Qor::${name} ALIAS Qor${name})
  target_compile_features(Qor${name} PUBLIC cxx_std_20)
  target_include_directories(Qor${name} PUBLIC $<BUILD_INTERFACE:${QorNetwork_SOURCE_DIR}> $<INSTALL_INTERFACE:include/qor>)
  target_link_libraries(Qor${name} PRIVATE $<BUILD_INTERFACE:qor_flags>)
  set_target_properties(Qor${name} PROPERTIES
    EXPORT_NAME ${name} LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON CXX_EXTENSIONS OFF INSTALL_RPATH "$ORIGIN")
  install(TARGETS Qor${name} EXPORT QorTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
  foreach(folder ${arg_FOLDERS})
    install(DIRECTORY ${QorNetwork_SOURCE_DIR}/${folder}/ DESTINATION include/qor/${folder} COMPONENT development
      FILES_MATCHING PATTERN "*.h")
  endforeach()
endfunction()

# qor_program(NAME sources... LIBS libraries...): an executable of this project, compiled like the libraries.
function(qor_program name)
  cmake_parse_arguments(arg "" "" "LIBS" ${ARGN})
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} qor_flags)
  set_target_properties(${name} PROPERTIES CXX_STANDARD 20 CXX_EXTENSIONS OFF)
endfunction()
