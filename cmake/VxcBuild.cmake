# What all targets of the project share.

if(WIN32)
  set(VXC_SYSTEM win32)
else()
  set(VXC_SYSTEM posix)
endif()

add_library(vxc_options INTERFACE)
target_include_directories(vxc_options INTERFACE "${PROJECT_SOURCE_DIR}/src")
if(MSVC)
  target_compile_options(vxc_options INTERFACE /W4 /WX /utf-8)
else()
  target_compile_options(vxc_options INTERFACE -Wall -Wextra -Wconversion -Wshadow -Werror)
  if(VXC_SANITIZE)
    target_compile_options(vxc_options INTERFACE -fsanitize=${VXC_SANITIZE} -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer)
    target_link_options(vxc_options INTERFACE -fsanitize=${VXC_SANITIZE})
  endif()
endif()
if(UNIX)
  find_package(Threads REQUIRED)
  target_link_libraries(vxc_options INTERFACE Threads::Threads ${CMAKE_DL_LIBS})
endif()

# The same for what is built with 32 bits beside the rest, where the compiler can: the plug-in server, what it stands
# on, and its plug-ins. ThreadSanitizer knows no 32 bits; these are built without it.
if(NOT DEFINED VXC_32BIT)
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_FLAGS -m32)
  set(CMAKE_REQUIRED_LINK_OPTIONS -m32)
  check_cxx_source_compiles("#include <string>\nint main() { return sizeof(void*) == 4 ? 0 : std::string(1, 'x')[0]; }"
                            VXC_COMPILES_32BIT)
  unset(CMAKE_REQUIRED_FLAGS)
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  set(VXC_32BIT ${VXC_COMPILES_32BIT})
endif()
if(VXC_32BIT)
  add_library(vxc_options32 INTERFACE)
  target_include_directories(vxc_options32 INTERFACE "${PROJECT_SOURCE_DIR}/src")
  target_compile_options(vxc_options32 INTERFACE -m32 -Wall -Wextra -Wconversion -Wshadow -Werror)
  target_compile_definitions(vxc_options32 INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  target_link_options(vxc_options32 INTERFACE -m32)
  target_link_libraries(vxc_options32 INTERFACE Threads::Threads ${CMAKE_DL_LIBS})
  if(VXC_SANITIZE AND NOT VXC_SANITIZE STREQUAL "thread")
    target_compile_options(vxc_options32 INTERFACE -fsanitize=${VXC_SANITIZE} -fno-sanitize-recover=all
                                                   -fno-omit-frame-pointer)
    target_link_options(vxc_options32 INTERFACE -fsanitize=${VXC_SANITIZE})
  endif()
else()
  message(STATUS "The compiler has no 32 bits: the plug-in server is built as wide as the rest")
endif()

# vxc_early_thread_locals(source...): sources with thread_local variables that end up in modules which are loaded late.
# The leak check of g++ 12 guesses where such a module keeps them, and reads astray where it guesses wrong. Each thread
# has room for a few from its start.
function(vxc_early_thread_locals)
  if(VXC_SANITIZE MATCHES "address")
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -ftls-model=initial-exec)
  endif()
endfunction()

# vxc_sources(OUT folder...): the sources of folders of the current directory: what lies in each, and in its
# folder for this system.
function(vxc_sources out)
  set(found)
  foreach(folder IN LISTS ARGN)
    file(GLOB files CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp"
         "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/${VXC_SYSTEM}/*.cpp")
    list(APPEND found ${files})
  endforeach()
  set(${out} ${found} PARENT_SCOPE)
endfunction()

# vxc_add_folders(folder...): adds each folder, and each folder in it, that has a CMakeLists.txt.
function(vxc_add_folders)
  foreach(folder IN LISTS ARGN)
    file(GLOB lists CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/CMakeLists.txt"
         "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*/CMakeLists.txt")
    foreach(list_file IN LISTS lists)
      get_filename_component(directory "${list_file}" DIRECTORY)
      file(RELATIVE_PATH relative "${CMAKE_CURRENT_SOURCE_DIR}" "${directory}")
      add_subdirectory("${relative}")
    endforeach()
  endforeach()
endfunction()
