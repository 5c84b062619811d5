# What `cmake --install` installs, and how CPack makes Debian packages of it. There are three components: `runtime` with
# the program and the shared library, `development` with what compilers, linkers and find_package need, and `python` with the
# Python package, which is for Debian only: elsewhere a wheel is installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
if(WIN32 OR NOT TARGET halden-text)
  return()
endif()

if(HALDEN_HOST)
  install(TARGETS halden-host COMPONENT runtime)
endif()
install(TARGETS halden-text EXPORT halden-text
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS halden-text-static EXPORT halden-text ARCHIVE COMPONENT development)
install(FILES sdk/c/halden_text.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
set(cmake_files ${CMAKE_INSTALL_LIBDIR}/cmake/halden-text)
install(EXPORT halden-text NAMESPACE halden:: FILE halden-textConfig.cmake DESTINATION ${cmake_files} COMPONENT development)
write_basic_package_version_file(halden-textConfigVersion.cmake COMPATIBILITY SameMajorVersion)
configure_file(sdk/c/halden-text.pc.in halden-text.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/halden-textConfigVersion.cmake DESTINATION ${cmake_files} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/halden-text.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(FILES backends/linux/60-halden-text.rules DESTINATION lib/udev/rules.d COMPONENT runtime)
if(TARGET halden-reference)
  install(FILES ${reference}/halden-host.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
  install(FILES ${reference}/halden_text.3.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)
  install(FILES ${reference}/halden-host.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME halden-host COMPONENT runtime)
  install(FILES ${reference}/_halden-host DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT runtime)
endif()

install(DIRECTORY python/halden_text DESTINATION lib/python3/dist-packages COMPONENT python EXCLUDE_FROM_ALL
  FILES_MATCHING PATTERN *.py PATTERN py.typed PATTERN __pycache__ EXCLUDE)

if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

# Debian packages. Whoever publishes them sets the maintainer's name and address.
set(HALDEN_MAINTAINER "The Halden-Text developers <halden-text@example.org>" CACHE STRING "Maintainer of the Debian packages")
set(release 1)  # counts the packages of one version
set(debian ${PROJECT_BINARY_DIR}/debian)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${debian}/changelog.Debian
  "halden-text (${PROJECT_VERSION}-${release}) stable; urgency=medium\n\n  * See CHANGELOG.md.\n\n -- ${HALDEN_MAINTAINER}  ${now}\n")
file(ARCHIVE_CREATE OUTPUT ${debian}/changelog.Debian.gz PATHS ${debian}/changelog.Debian FORMAT raw COMPRESSION GZip
  COMPRESSION_LEVEL 9)
file(WRITE ${debian}/copyright "Halden-Text\n\nNo licence has been chosen. All rights belong to the owner of Halden-Text.\n")
file(WRITE ${debian}/shlibs "libhalden-text ${PROJECT_VERSION_MAJOR} halden-text (>= ${PROJECT_VERSION})\n")
file(WRITE ${debian}/triggers "activate-noawait ldconfig\n")  # dpkg runs it when the library has come or gone
# Python's compiled files belong to no package, so these scripts make and remove them.
file(WRITE ${debian}/postinst "#!/bin/sh\nset -e\n[ \"$1\" != configure ] || py3compile -p python3-halden-text\n")
file(WRITE ${debian}/prerm "#!/bin/sh\nset -e\npy3clean -p python3-halden-text\n")
file(CHMOD ${debian}/postinst ${debian}/prerm PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(components runtime development python)
set(packages halden-text halden-text-dev python3-halden-text)
foreach(component package IN ZIP_LISTS components packages)
  install(FILES ${debian}/changelog.Debian.gz ${debian}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
          COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGE_NAME halden-text)
set(CPACK_PACKAGE_VENDOR "The Halden-Text developers")
set(CPACK_PACKAGE_CONTACT ${HALDEN_MAINTAINER})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development python)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${release})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME halden-text)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION science)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian}/shlibs ${debian}/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "serial device that sends lines of numbers, as a converter
Makes a serial device with an FTDI chip, which sends its measurements as lines
of numbers, look like an analog-to-digital converter. Contains the program
halden-host, which finds such a device and shows, records and converts what it
sends, and the shared library.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME halden-text-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "halden-text (= ${PROJECT_VERSION}-${release})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "serial device that sends lines of numbers, files for programmers
The C header, the static library, and the files of pkg-config and CMake for
programs that read such a device.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-halden-text)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "python3 (>= 3.9), python3-numpy, halden-text (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${debian}/postinst ${debian}/prerm)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "serial device that sends lines of numbers, as numpy arrays
A Python package that finds a serial device which sends its measurements as
lines of numbers, and returns them as numpy arrays with times.")
include(CPack)
