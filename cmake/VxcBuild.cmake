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
