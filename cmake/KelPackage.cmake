# cpack -G DEB: two Debian packages from the install rules, kel (the
# component, kelhost and kelapp) and kel-dev (headers, foundation, CMake and
# pkg-config files), installed under /usr.
set(CPACK_PACKAGE_NAME kel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Kel maintainers <maintainers@kel.example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://kel.example.org/")
# dpkg-shlibdeps finds the libraries that python.so and kelhost need.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME kel)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION interpreters)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "embedded Python scripting component for desktop hosts
python.so gives a host application a Python 3 scripting engine: it runs
script files and texts, publishes the host's commands as the Python module
kel, and writes recorded command lists as Python text. The package also
holds kelhost, the reference host, which runs scripts from the command line.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME kel-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "kel (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_DESCRIPTION "embedded Python scripting component for desktop hosts - development files
The interface headers, the static foundation library that a host links,
and the CMake package (find_package(Kel)) and pkg-config file (kel.pc)
with which a host application is built against the kel component.")

# Each package carries its copyright file and a compressed changelog.
set(kel_doc_dir ${CMAKE_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${kel_doc_dir})
execute_process(COMMAND gzip -9n -c ${CMAKE_SOURCE_DIR}/packaging/changelog
  OUTPUT_FILE ${kel_doc_dir}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
foreach(package_component runtime dev)
  string(TOUPPER ${package_component} upper)
  set(package_name ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES packaging/copyright ${kel_doc_dir}/changelog.gz
    DESTINATION share/doc/${package_name} COMPONENT ${package_component})
endforeach()

include(CPack)
