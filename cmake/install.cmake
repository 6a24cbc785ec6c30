# What "cmake --install" puts where: the tool with its manual page and completions, the headers and
# static libraries, and two descriptions of these for builds that use them: a CMake package and a
# pkg-config file.
if(VELORA_SANITIZE)
  install(CODE "message(FATAL_ERROR \"This tree is built with sanitizers (${VELORA_SANITIZE}) and is not \
for installing: its libraries would need the sanitizers' run time in every program that links them. \
Install from the preset release.\")")
  return()
endif()

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velora)
get_property(libraries GLOBAL PROPERTY VELORA_LIBRARIES)

if(BUILD_SHARED_LIBS)
  file(RELATIVE_PATH to_libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(seamtool PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}")
endif()
install(TARGETS seamtool)
install(FILES docs/seamtool.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(DIRECTORY docs/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} FILES_MATCHING PATTERN "*.3")
# Where the manual pages say that they are, and where the Debian package has them.
install(FILES docs/library.md docs/reading.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvelora-dev)
install(DIRECTORY docs/examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libvelora-dev
  FILES_MATCHING PATTERN "*.cpp" PATTERN "*.py")
install(FILES completion/seamtool.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME seamtool)
install(FILES completion/_seamtool DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)

# A component of the CMake package is one library. Each has an export set of its own, and the package
# is told what each links, so that a program needs only what stands below the components it asks for.
set(VELORA_COMPONENTS "")
set(VELORA_COMPONENT_LINKS "")
foreach(library IN LISTS libraries)
  get_target_property(component ${library} EXPORT_NAME)
  install(TARGETS ${library} EXPORT velora-${component}-targets
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT velora-${component}-targets NAMESPACE velora:: DESTINATION ${package_dir})

  # Libraries that a shared one calls itself stand beside it, of this product and of no other.
  get_target_property(own_links ${library} LINK_LIBRARIES)
  list(FILTER own_links INCLUDE REGEX "^velora_")
  get_target_property(links ${library} INTERFACE_LINK_LIBRARIES)
  list(APPEND links ${own_links})
  list(FILTER links EXCLUDE REGEX "BUILD_INTERFACE|NOTFOUND$")
  list(TRANSFORM links REPLACE "^.*[:<]([A-Za-z0-9]+::[A-Za-z0-9]+)>+$" "\\1")
  list(TRANSFORM links REPLACE "^.*velora_([a-z]+)>*$" "\\1")
  list(REMOVE_DUPLICATES links)
  list(JOIN links " " links)
  list(APPEND VELORA_COMPONENTS ${component})
  string(APPEND VELORA_COMPONENT_LINKS "set(_velora_links_of_${component} ${links})\n")
endforeach()
list(JOIN VELORA_COMPONENTS " " VELORA_COMPONENTS)
configure_package_config_file(cmake/velora-config.cmake.in velora-config.cmake
  INSTALL_DESTINATION ${package_dir} NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(velora-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velora-config.cmake ${PROJECT_BINARY_DIR}/velora-config-version.cmake
  DESTINATION ${package_dir})

# The linker wants a static library before those that it calls, so a library is written down when no
# other that is still waiting links it.
set(VELORA_LINK_FLAGS "")
list(REMOVE_ITEM libraries velora_formats)  # headers only
while(libraries)
  set(waiting ${libraries})
  foreach(library IN LISTS libraries)
    set(is_wanted FALSE)
    foreach(other IN LISTS libraries)
      get_target_property(linked ${other} LINK_LIBRARIES)
      if(library IN_LIST linked)
        set(is_wanted TRUE)
      endif()
    endforeach()
    if(NOT is_wanted)
      string(APPEND VELORA_LINK_FLAGS " -l${library}")
      list(REMOVE_ITEM libraries ${library})
    endif()
  endforeach()
  if(libraries STREQUAL waiting)
    message(FATAL_ERROR "These libraries link each other in a circle: ${libraries}")
  endif()
endwhile()
# From the file's own folder, so that the installed tree can be moved.
file(RELATIVE_PATH VELORA_PREFIX_FROM_PC
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VELORA_PREFIX_FROM_PC "${VELORA_PREFIX_FROM_PC}")
# What shared libraries call is their own affair; a program that is linked with static ones calls it.
set(VELORA_PC_PRIVATE "")
set(VELORA_PC_DEFINITION "")
set(VELORA_PC_NEXT "")
if(BUILD_SHARED_LIBS)
  set(VELORA_PC_PRIVATE ".private")
  set(VELORA_PC_DEFINITION " -DVELORA_SHARED")
  set(VELORA_PC_NEXT " -Wl,--pop-state\nLibs.private:")
  string(PREPEND VELORA_LINK_FLAGS " -Wl,--push-state,--as-needed")  # only those that the program calls
endif()
configure_file(cmake/velora.pc.in velora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
