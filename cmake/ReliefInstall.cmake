include(CMakePackageConfigHelpers)

install(TARGETS relief EXPORT reliefTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/relief
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(RELIEF_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/relief)
install(EXPORT reliefTargets NAMESPACE relief:: DESTINATION ${RELIEF_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/reliefConfig.cmake.in
  ${PROJECT_BINARY_DIR}/reliefConfig.cmake
  INSTALL_DESTINATION ${RELIEF_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/reliefConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/reliefConfig.cmake ${PROJECT_BINARY_DIR}/reliefConfigVersion.cmake
  DESTINATION ${RELIEF_CMAKE_DIR})

# pkg-config: a static build must also name the C++ runtime for plain C linkers.
if(RELIEF_BUILD_STATIC)
  set(RELIEF_PC_PRIVATE_LIBS "-lstdc++ -lm")
else()
  set(RELIEF_PC_PRIVATE_LIBS "")
endif()
# The .pc file finds the prefix relative to itself, so the install tree can be moved.
file(RELATIVE_PATH RELIEF_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/relief.pc.in ${PROJECT_BINARY_DIR}/relief.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/relief.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
