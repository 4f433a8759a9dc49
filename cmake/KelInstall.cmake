# The integrator's kit: what `cmake --install` puts under a prefix and what
# `cpack -G DEB` packs from it.
#
#   bin/kelhost                      the reference host               (runtime)
#   lib/kel/python.so                the component                    (runtime)
#   lib/kel/kelapp/                  the host's Python package        (runtime)
#   include/kel/                     the interface headers            (dev)
#   lib/libkelfoundation.a           the foundation a host links      (dev)
#   lib/cmake/Kel/, lib/pkgconfig/   find_package(Kel) and kel.pc     (dev)
#
# Every installed path is relative to the prefix, and kelhost finds the
# component from its own location, so the tree can be moved as a whole.
include(CMakePackageConfigHelpers)

set(KEL_INSTALL_COMPONENT_DIR lib/kel)
set(KEL_INSTALL_CMAKE_DIR lib/cmake/Kel)

# kelhost looks for python.so beside itself (the build tree) and then here,
# relative to its own folder (an installed tree).
file(RELATIVE_PATH kel_component_from_bin /kel/bin /kel/${KEL_INSTALL_COMPONENT_DIR})
target_compile_definitions(kelhostlib PRIVATE KEL_INSTALLED_COMPONENT_DIR="${kel_component_from_bin}")

install(TARGETS kelhost RUNTIME DESTINATION bin COMPONENT runtime)
install(TARGETS python EXPORT KelTargets LIBRARY DESTINATION ${KEL_INSTALL_COMPONENT_DIR} COMPONENT runtime)
# The component looks for kelapp in the host's "exe" directory, which
# kelhost sets to the component's folder.
install(FILES host/kelapp/__init__.py host/kelapp/appdata.py host/kelapp/console.py
  DESTINATION ${KEL_INSTALL_COMPONENT_DIR}/kelapp COMPONENT runtime)

# kel/kelarray.h includes "platform/platform.h", which a quoted include finds
# beside it first: the one foundation header that the contract needs.
install(DIRECTORY include/kel DESTINATION include COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(FILES platform/platform.h DESTINATION include/kel/platform COMPONENT dev)
set_target_properties(kelfoundation PROPERTIES EXPORT_NAME foundation)
set_target_properties(python PROPERTIES EXPORT_NAME component)
install(TARGETS kelfoundation EXPORT KelTargets ARCHIVE DESTINATION lib COMPONENT dev)
install(EXPORT KelTargets NAMESPACE Kel:: DESTINATION ${KEL_INSTALL_CMAKE_DIR} COMPONENT dev)

set(KEL_COMPONENT_FILE ${KEL_INSTALL_COMPONENT_DIR}/python.so)
configure_package_config_file(cmake/KelConfig.cmake.in ${CMAKE_BINARY_DIR}/KelConfig.cmake
  INSTALL_DESTINATION ${KEL_INSTALL_CMAKE_DIR} PATH_VARS KEL_COMPONENT_FILE)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KelConfig.cmake ${CMAKE_BINARY_DIR}/KelConfigVersion.cmake
  DESTINATION ${KEL_INSTALL_CMAKE_DIR} COMPONENT dev)
configure_file(cmake/kel.pc.in ${CMAKE_BINARY_DIR}/kel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kel.pc DESTINATION lib/pkgconfig COMPONENT dev)

include(cmake/KelPackage.cmake)
