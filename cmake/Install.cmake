# What `cmake --install` puts where. The plug-in and what is loaded with it lie in a folder of their
# own, lib/velmora; the command finds them from its own place, so that an installation may be moved.
set(plugin_dir ${VELMORA_PLUGIN_DIR})

# An adapter or library that is left out of the build is left out here.
foreach(library IN ITEMS velmora vexlar ecap_velmora trafficserver_velmora)
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
install(FILES README.md LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN man EXCLUDE)

# For Grafana and Prometheus.
install(FILES packaging/grafana/velmora.json DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora/grafana)
install(FILES packaging/prometheus/velmora.yml DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora/prometheus)

# The proxy's side, and the list of all that was installed; last, since it takes that from the rules
# above.
install(CODE "
  set(packaging \"${CMAKE_SOURCE_DIR}/packaging\")
  set(plugin_dir \"${plugin_dir}\")
  set(data_dir \"${CMAKE_INSTALL_DATADIR}\")
  set(settings_dir \"${CMAKE_INSTALL_SYSCONFDIR}\")
  set(state_dir \"${CMAKE_INSTALL_LOCALSTATEDIR}\")
  set(bin_dir \"${CMAKE_INSTALL_BINDIR}\")
  set(user \"${VELMORA_USER}\")")
install(SCRIPT cmake/LayDown.cmake)
