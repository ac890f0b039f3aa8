# What is installed where, by the components driver, tools and doc; and the Debian packages that CPack makes of it. The
# packages split the tools, so what belongs to one of them is installed under a second component of that package's name.

# Where Debian looks for libraries, whatever the prefix is.
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Folder of libraries")
endif()
include(GNUInstallDirs)

# Not among the libraries that programs link with: it has one version and a host that loads it by its path.
install(TARGETS LVESTARA LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vestara COMPONENT driver)

# Packages come from the whole build only: the driver alone needs nothing of what makes them.
if(VESTARA_DRIVER_ONLY OR NOT VESTARA_OWN_HOST)
  return()
endif()

# The newest entry of the changelog is the version that is built; its date is that of manual pages and packages.
file(STRINGS CHANGELOG.md Newest REGEX "^## \\[[0-9]" LIMIT_COUNT 1)
if(NOT Newest MATCHES "^## \\[(.*)\\] - ([0-9]+)-([0-9]+)-([0-9]+)$" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "CHANGELOG.md begins with \"${Newest}\", and the version is ${PROJECT_VERSION}")
endif()
set(Day ${CMAKE_MATCH_2}-${CMAKE_MATCH_3}-${CMAKE_MATCH_4})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/CHANGELOG.md)

set(VESTARA_MAINTAINER "Vestara driver developers <driver@vestara.example>")
set(Install ${CMAKE_BINARY_DIR}/install)

function(run_for Output)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE Text OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${Output} "${Text}" PARENT_SCOPE)
endfunction()
run_for(VESTARA_DATE env LC_ALL=C date -u -d ${Day} "+%B %-d, %Y")
run_for(VESTARA_CHANGELOG_TIME env LC_ALL=C date -u -d ${Day} -R)

# Fills in a template and compresses it, without a name or a time, so that the same text gives the same bytes.
function(compress_filled Template File)
  configure_file(${Template} ${Install}/${File} @ONLY)
  execute_process(COMMAND gzip -9nkf ${Install}/${File} COMMAND_ERROR_IS_FATAL ANY)
endfunction()
compress_filled(packaging/changelog.in changelog)

# A tool is of the component tools, and of its package.
function(install_tool Package)
  install(${ARGN} COMPONENT tools)
  install(${ARGN} COMPONENT ${Package} EXCLUDE_FROM_ALL)
endfunction()

# What Debian wants of every package.
function(install_package_texts Component Package)
  install(FILES packaging/copyright ${Install}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${Package}
    COMPONENT ${Component} EXCLUDE_FROM_ALL)
  install(FILES packaging/${Package}.lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
    RENAME ${Package} COMPONENT ${Component} EXCLUDE_FROM_ALL)
endfunction()

install_package_texts(driver libvestara-driver)
set(CPACK_COMPONENTS_ALL driver devhost cloudsim doc)
set(Share ${CMAKE_INSTALL_DATADIR}/vestara)
foreach(Program vestara-devhost vestara-cloudsim vestara-demo)
  compress_filled(docs/man/${Program}.1.in ${Program}.1)
endforeach()

install_tool(devhost TARGETS vestara-devhost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install_tool(devhost DIRECTORY ${CMAKE_BINARY_DIR}/share/vestara/configurator DESTINATION ${Share} OPTIONAL)
install_tool(devhost FILES ${Install}/vestara-devhost.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
configure_file(packaging/vestara-devhost.service.in ${Install}/vestara-devhost.service @ONLY)
install(FILES ${Install}/vestara-devhost.service DESTINATION lib/systemd/system COMPONENT devhost EXCLUDE_FROM_ALL)
install_package_texts(devhost vestara-devhost)

install_tool(cloudsim TARGETS vestara-cloudsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install_tool(cloudsim DIRECTORY cloudsim/fixtures DESTINATION ${Share})
configure_file(scripts/vestara-demo.in ${Install}/vestara-demo @ONLY)
install_tool(cloudsim PROGRAMS ${Install}/vestara-demo DESTINATION ${CMAKE_INSTALL_BINDIR})
install_tool(cloudsim FILES scripts/tour.py scripts/vestara_client.py DESTINATION ${Share}/demo)
install_tool(cloudsim FILES ${Install}/vestara-cloudsim.1.gz ${Install}/vestara-demo.1.gz
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install_package_texts(cloudsim vestara-cloudsim)

set(Doc ${CMAKE_INSTALL_DATADIR}/doc/vestara-doc)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${Doc} COMPONENT doc)
install(DIRECTORY docs DESTINATION ${Doc} COMPONENT doc PATTERN man EXCLUDE)
install_package_texts(doc vestara-doc)

# Beside the packages lies what is in them.
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/WriteSbom.cmake)
set(CPACK_VESTARA_SBOM ${CMAKE_SOURCE_DIR}/scripts/sbom.py --build ${CMAKE_BINARY_DIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vestara)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${VESTARA_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DRIVER_PACKAGE_NAME libvestara-driver)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_DRIVER_DESCRIPTION "driver plug-in for an account of the Vestara cloud lock service
A library that a home-automation controller loads. It authorises with OAuth 2,
discovers the locks of a house, keeps their state current, supervises their
heartbeats, locks and unlocks, and mirrors the controller's door-lock users
into the cloud.")

set(CPACK_DEBIAN_DEVHOST_PACKAGE_NAME vestara-devhost)
set(CPACK_DEBIAN_DEVHOST_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_DEVHOST_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVHOST_PACKAGE_DEPENDS "libvestara-driver (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVHOST_PACKAGE_SUGGESTS "vestara-cloudsim, vestara-doc")
set(CPACK_DEBIAN_DEVHOST_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/prerm ${CMAKE_SOURCE_DIR}/packaging/postrm)
set(CPACK_COMPONENT_DEVHOST_DESCRIPTION "development host that runs the Vestara lock driver on a workstation
Loads the driver as a controller would, with a main loop and worker threads,
keeps its configuration, and serves a page on which accounts are set up and
locks and users are looked after. It listens on loopback only.")

set(CPACK_DEBIAN_CLOUDSIM_PACKAGE_NAME vestara-cloudsim)
set(CPACK_DEBIAN_CLOUDSIM_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_CLOUDSIM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CLOUDSIM_PACKAGE_DEPENDS "python3:any, vestara-devhost (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_CLOUDSIM_PACKAGE_SUGGESTS vestara-doc)
set(CPACK_COMPONENT_CLOUDSIM_DESCRIPTION "simulator of the Vestara cloud lock service, and a demonstration
Plays the cloud on loopback ports: OAuth pages, REST API, locks that wake at
their heartbeat, and faults on demand. The demonstration vestara-demo shows
the driver at work against it, step by step.")

set(CPACK_DEBIAN_DOC_PACKAGE_NAME vestara-doc)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_DOC_DESCRIPTION "documentation of the Vestara lock driver
Architecture, the contract with the host, the cloud API and the development
host's API, decisions, simulation, and what to do when something fails.")
include(CPack)
