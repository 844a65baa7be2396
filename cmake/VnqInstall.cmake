# What `cmake --install` puts where, and the Debian packages that `cpack` makes of it:
#
#   server   vnq-main-service: the server, vnqctl, units, documents
#   bench    vnq-bench: the load generator
#   gateway  vnq-gateway: browsers, where clients/build_gateway.sh has built it before the configuration

set(VNQ_MAINTAINER "VNQ Main Service <vnq@localhost>" CACHE STRING "Who stands in the Debian packages as maintainer")

# A part of the programs may have been built.
foreach(program ${VNQ_PROGRAMS})
  set(component server)
  if(program STREQUAL vnq_bench)
    set(component bench)
  endif()
  install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component} OPTIONAL)
  install(CODE "if(NOT EXISTS \"$<TARGET_FILE:${program}>\")
    message(STATUS \"Not built, so not installed: ${program}\")
  endif()" COMPONENT ${component})
endforeach()

# The units name the folders that they are installed to, which is known only then. A package is put together in a
# folder of its own, and installed to /usr.
install(CODE "
  set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
  if(prefix MATCHES \"/_CPack_Packages/\")
    set(prefix /usr)
  endif()
  set(VNQ_PROGRAMS_FOLDER \"\${prefix}/${CMAKE_INSTALL_BINDIR}\")
  set(VNQ_DOCS \"\${prefix}/${CMAKE_INSTALL_DATAROOTDIR}/doc/vnq-main-service/docs\")
  foreach(unit vnq-main-service.service vnq-backup.service)
    configure_file(\"${CMAKE_SOURCE_DIR}/packaging/\${unit}.in\" \"${CMAKE_BINARY_DIR}/packaging/\${unit}\" @ONLY)
  endforeach()" COMPONENT server)
install(FILES ${CMAKE_BINARY_DIR}/packaging/vnq-main-service.service ${CMAKE_BINARY_DIR}/packaging/vnq-backup.service
  packaging/vnq-backup.timer DESTINATION lib/systemd/system COMPONENT server)
install(FILES packaging/vnq-sysusers.conf RENAME vnq-main-service.conf DESTINATION lib/sysusers.d COMPONENT server)
install(FILES packaging/vnq-main-service.rules RENAME 50-vnq-main-service.rules
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/polkit-1/rules.d COMPONENT server)
install(FILES packaging/vnqctl.bash RENAME vnqctl
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT server)

# The gateway of the web clients: what clients/build_gateway.sh and the build of the staff's client have made, where
# they ran.
set(clients ${CMAKE_SOURCE_DIR}/clients)
set(VNQ_COMPONENTS server bench)
if(EXISTS ${clients}/gateway/dist/vnq-gateway.cjs)
  list(APPEND VNQ_COMPONENTS gateway)
  install(PROGRAMS ${clients}/gateway/dist/vnq-gateway.cjs DESTINATION ${CMAKE_INSTALL_DATADIR}/vnq-gateway
    COMPONENT gateway)
  install(FILES ${clients}/widget/dist/widget.js
    DESTINATION ${CMAKE_INSTALL_DATADIR}/vnq-gateway COMPONENT gateway)
  install(DIRECTORY ${clients}/web/dist/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vnq-gateway/web
    COMPONENT gateway OPTIONAL)
  install(CODE "
    set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
    if(prefix MATCHES \"/_CPack_Packages/\")
      set(prefix /usr)
    endif()
    set(VNQ_PROGRAMS_FOLDER \"\${prefix}/${CMAKE_INSTALL_BINDIR}\")
    set(VNQ_GATEWAY \"\${prefix}/${CMAKE_INSTALL_DATADIR}/vnq-gateway\")
    foreach(file vnq-gateway.service vnq-gateway.conf)
      configure_file(\"${CMAKE_SOURCE_DIR}/packaging/\${file}.in\" \"${CMAKE_BINARY_DIR}/packaging/\${file}\" @ONLY)
    endforeach()" COMPONENT gateway)
  install(FILES ${CMAKE_BINARY_DIR}/packaging/vnq-gateway.service DESTINATION lib/systemd/system COMPONENT gateway)
  install(FILES ${CMAKE_BINARY_DIR}/packaging/vnq-gateway.conf
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/vnq-gateway COMPONENT gateway)
endif()

# The documents lie as they are linked to one another.
set(docs ${CMAKE_INSTALL_DATAROOTDIR}/doc/vnq-main-service)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${docs} COMPONENT server)
install(DIRECTORY docs examples DESTINATION ${docs} COMPONENT server)
install(FILES clients/README.md DESTINATION ${docs}/clients COMPONENT server)
install(FILES clients/gateway/API.md clients/gateway/README.md DESTINATION ${docs}/clients/gateway COMPONENT server)
install(FILES clients/client/README.md DESTINATION ${docs}/clients/client COMPONENT server)

# vnq_compressed(<file> <destination> <component>): installed as <file>.gz, the same bytes at each build.
function(vnq_compressed file destination component)
  get_filename_component(name ${file} NAME)
  set(output ${CMAKE_BINARY_DIR}/packaging/${component}/${name}.gz)
  get_filename_component(folder ${output} DIRECTORY)
  install(CODE "file(MAKE_DIRECTORY \"${folder}\")
    execute_process(COMMAND gzip -9nc \"${file}\" OUTPUT_FILE \"${output}\" COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT ${component})
  install(FILES ${output} DESTINATION ${destination} COMPONENT ${component})
endfunction()
vnq_compressed(${CMAKE_SOURCE_DIR}/packaging/man/vnq_main_service.8 ${CMAKE_INSTALL_MANDIR}/man8 server)
vnq_compressed(${CMAKE_SOURCE_DIR}/packaging/man/vnqctl.1 ${CMAKE_INSTALL_MANDIR}/man1 server)
vnq_compressed(${CMAKE_SOURCE_DIR}/packaging/man/vnq_bench.1 ${CMAKE_INSTALL_MANDIR}/man1 bench)

foreach(component ${VNQ_COMPONENTS})
  set(VNQ_PACKAGE vnq-${component})
  if(component STREQUAL server)
    set(VNQ_PACKAGE vnq-main-service)
  endif()
  set(doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/${VNQ_PACKAGE})
  configure_file(packaging/debian/changelog.in ${CMAKE_BINARY_DIR}/packaging/${component}/changelog @ONLY)
  vnq_compressed(${CMAKE_BINARY_DIR}/packaging/${component}/changelog ${doc} ${component})
  install(FILES packaging/debian/copyright DESTINATION ${doc} COMPONENT ${component})
  install(FILES packaging/debian/${VNQ_PACKAGE}.lintian-overrides RENAME ${VNQ_PACKAGE}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vnq-main-service)
set(CPACK_PACKAGE_CONTACT "${VNQ_MAINTAINER}")
set(CPACK_COMPONENTS_ALL ${VNQ_COMPONENTS})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
  WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_SERVER_PACKAGE_NAME vnq-main-service)
set(CPACK_DEBIAN_SERVER_DESCRIPTION "main server of an instant-messaging and live-support suite
Serves clients, web visitors, managed computers and sibling services from one
process, with a database of its own or the company's. vnqctl sets it up,
watches it, saves it, and talks to it from a terminal.")
set(CPACK_DEBIAN_SERVER_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_DEBIAN_SERVER_PACKAGE_RECOMMENDS "polkitd")
set(CPACK_DEBIAN_SERVER_PACKAGE_SUGGESTS "mdbtools, tdsodbc, libnats3.4, prometheus, bash-completion")
set(CPACK_DEBIAN_SERVER_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/postinst
  ${CMAKE_SOURCE_DIR}/packaging/debian/prerm ${CMAKE_SOURCE_DIR}/packaging/debian/postrm)
set(CPACK_DEBIAN_BENCH_PACKAGE_NAME vnq-bench)
set(CPACK_DEBIAN_BENCH_DESCRIPTION "load generator for the VNQ Main Service
Logs thousands of clients in, lets them talk, checks every record that comes
back, and tells how long it took.")
set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME vnq-gateway)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SECTION web)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_DEPENDS "nodejs (>= 18), vnq-main-service")
set(CPACK_DEBIAN_GATEWAY_DESCRIPTION "gateway for browsers to the VNQ Main Service
Sessions over WebSocket with TLS, history and search, visitors of web sites who
read the agents' answers, the staff's client and the visitors' widget.")
include(CPack)
