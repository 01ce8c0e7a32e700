# What `cmake --install` puts where. The plug-in and what is loaded with it lie in a folder of their
# own, lib/velmora; the command finds them from its own place, so that an installation may be moved.
set(plugin_dir ${CMAKE_INSTALL_LIBDIR}/velmora)
set(plugin_dir_full ${CMAKE_INSTALL_FULL_LIBDIR}/velmora)

# An adapter or library that is left out of the build is left out here.
foreach(library IN ITEMS velmora vexlar ecap_velmora)
  if(TARGET ${library})
    install(TARGETS ${library} LIBRARY DESTINATION ${plugin_dir})
  endif()
endforeach()
install(TARGETS velmora_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/ adblock/include/vexlar
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

# For host programs: find_package(velmora), or pkg-config.
install(TARGETS velmora_host_library EXPORT velmora_host
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT velmora_host NAMESPACE velmora:: FILE velmoraHost.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/velmora)
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velmora)
set(include_dir ${CMAKE_INSTALL_INCLUDEDIR})
configure_package_config_file(packaging/velmoraConfig.cmake.in packaging/velmoraConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS include_dir plugin_dir)
write_basic_package_version_file(packaging/velmoraConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
file(RELATIVE_PATH prefix_from_pc
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
foreach(package IN ITEMS velmora velmora-host)
  configure_file(packaging/${package}.pc.in packaging/${package}.pc @ONLY)
endforeach()
install(FILES ${CMAKE_BINARY_DIR}/packaging/velmoraConfig.cmake
  ${CMAKE_BINARY_DIR}/packaging/velmoraConfigVersion.cmake DESTINATION ${package_dir})
install(FILES ${CMAKE_BINARY_DIR}/packaging/velmora.pc
  ${CMAKE_BINARY_DIR}/packaging/velmora-host.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# For people.
install(FILES docs/man/velmora.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/man/velmora.toml.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
install(FILES packaging/completion.bash RENAME velmora
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES README.md LICENSE CHANGELOG.md docs/policy.md docs/security.md docs/squid.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The proxy's side. Files that administrators change are laid down once and then left alone.
set(log_dir ${CMAKE_INSTALL_FULL_LOCALSTATEDIR}/log/velmora)
set(policy_file ${CMAKE_INSTALL_FULL_SYSCONFDIR}/velmora/velmora.toml)
foreach(file IN ITEMS velmora.toml squid.conf logrotate)
  configure_file(packaging/${file}.in packaging/${file} @ONLY)
endforeach()
install(FILES ${CMAKE_BINARY_DIR}/packaging/velmora.toml ${CMAKE_BINARY_DIR}/packaging/squid.conf
  DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora)

# velmora_install_code(destination code): runs code at installation, with the destination as
# ${folder}; a relative one lies below the prefix that the installation goes to.
function(velmora_install_code destination code)
  install(CODE "
    set(folder \"${destination}\")
    if(NOT IS_ABSOLUTE \"\${folder}\")
      set(folder \"\${CMAKE_INSTALL_PREFIX}/\${folder}\")
    endif()
    ${code}")
endfunction()

function(velmora_install_once file destination name)
  velmora_install_code(${destination} "
    if(NOT EXISTS \"\$ENV{DESTDIR}\${folder}/${name}\")
      file(INSTALL \"${CMAKE_BINARY_DIR}/packaging/${file}\" DESTINATION \"\${folder}\" RENAME \"${name}\")
    endif()")
endfunction()
velmora_install_once(velmora.toml ${CMAKE_INSTALL_SYSCONFDIR}/velmora velmora.toml)
velmora_install_once(logrotate ${CMAKE_INSTALL_SYSCONFDIR}/logrotate.d velmora)

# What the proxy's user writes: the event log, which tells what people visit and is read by its group
# alone, and the compiled ad lists.
foreach(kind IN ITEMS log cache)
  velmora_install_code(${CMAKE_INSTALL_LOCALSTATEDIR}/${kind}/velmora "
    set(folder \"\$ENV{DESTDIR}\${folder}\")
    if(NOT EXISTS \"\${folder}\")
      file(MAKE_DIRECTORY \"\${folder}\")
      file(CHMOD \"\${folder}\" DIRECTORY_PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)
      execute_process(COMMAND chown proxy:proxy \"\${folder}\" RESULT_VARIABLE failure ERROR_QUIET)
      if(failure)
        message(STATUS \"To be given to the user that the proxy works as: \${folder}\")
      endif()
    endif()")
endforeach()
