# What `cmake --install` lays down. The tree may be moved as a whole afterwards.
#
#   <bindir>/kvor                      finds the library beside itself, wherever the tree lies
#   <includedir>/kvorlib/              the headers
#   <libdir>/kvorlib/libkvorlib.so.*   the library itself, in a folder of its own: its data lie
#                                      beside it, and it looks for them beside its real path
#   <libdir>/kvorlib/Data/             the local knowledge base
#   <libdir>/libkvorlib.so*            links, for compilers and the loader
#   <libdir>/cmake/kvorlib/            find_package(kvorlib), target kvorlib::kvorlib
#   <libdir>/pkgconfig/kvorlib.pc
#   <docdir>/                          README.md, docs/ and what they lead to, as in the source tree

include(CMakePackageConfigHelpers)

set(KVORLIB_HOME ${CMAKE_INSTALL_LIBDIR}/kvorlib)
set(KVORLIB_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kvorlib)

install(TARGETS kvorlib EXPORT kvorlibTargets LIBRARY DESTINATION ${KVORLIB_HOME} NAMELINK_SKIP)
install(DIRECTORY data/Data DESTINATION ${KVORLIB_HOME})
install(DIRECTORY include/kvorlib DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

# The links are made at install time, below whatever prefix and DESTDIR were given there.
install(CODE "
  set(libdir \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\")
  set(soname libkvorlib.so.${PROJECT_VERSION_MAJOR})
  file(CREATE_LINK kvorlib/libkvorlib.so.${PROJECT_VERSION} \"\${libdir}/\${soname}\" SYMBOLIC)
  file(CREATE_LINK \${soname} \"\${libdir}/libkvorlib.so\" SYMBOLIC)
  message(STATUS \"Linked: \${libdir}/libkvorlib.so\")
")

install(EXPORT kvorlibTargets NAMESPACE kvorlib:: DESTINATION ${KVORLIB_CMAKE_DIR})
configure_package_config_file(
  packaging/kvorlibConfig.cmake.in ${PROJECT_BINARY_DIR}/packaging/kvorlibConfig.cmake
  INSTALL_DESTINATION ${KVORLIB_CMAKE_DIR}
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Below 1.0 each minor version may break its callers.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/packaging/kvorlibConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/packaging/kvorlibConfig.cmake
  ${PROJECT_BINARY_DIR}/packaging/kvorlibConfigVersion.cmake
  DESTINATION ${KVORLIB_CMAKE_DIR})

# The way from the .pc file up to the prefix, so that the file is right wherever the tree lies.
file(RELATIVE_PATH KVORLIB_PC_TO_PREFIX
     /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" KVORLIB_PC_TO_PREFIX "${KVORLIB_PC_TO_PREFIX}")
configure_file(packaging/kvorlib.pc.in ${PROJECT_BINARY_DIR}/packaging/kvorlib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/kvorlib.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET kvor)
  file(RELATIVE_PATH KVORLIB_BIN_TO_HOME
       /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${KVORLIB_HOME})
  set_target_properties(kvor PROPERTIES INSTALL_RPATH "$ORIGIN/${KVORLIB_BIN_TO_HOME}")
  install(TARGETS kvor RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# As they lie in the source tree: they lead to each other by relative paths.
install(FILES LICENSE README.md packages.txt DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL FILES_MATCHING PATTERN "*.md"
  PATTERN "memoryplugin.cpp")
