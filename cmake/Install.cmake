# The library with its public headers, and a CMake package for sibling modules:
#   find_package(deviceaccess) -> vms::deviceaccess, vms::vmsplatform, vms::deviceaccess_contract
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/deviceaccess)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/deviceaccess)

set_target_properties(vmsplatform PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(onvif_soap PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS deviceaccess vmsplatform deviceaccess_contract EXPORT deviceaccess
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS onvif_soap LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
# Device families, which the host loads by name.
set_target_properties(family_mediafile family_httpdevice PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS family_mediafile family_httpdevice LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS vmshost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT deviceaccess NAMESPACE vms:: DESTINATION ${package_dir})

install(FILES onvif/OnvifModule.h onvif/OnvifImplement.h onvif/OnvifDeviceSearch.h
        DESTINATION ${header_dir}/onvif)
install(DIRECTORY module platform videodevice websocket deviceapi DESTINATION ${header_dir}
        FILES_MATCHING PATTERN "*.h"
        # The bus is used through ICommandBus.
        PATTERN "bus" EXCLUDE PATTERN "CommandBus.h" EXCLUDE
        # What the video module is made of is nobody else's business.
        PATTERN "core" EXCLUDE PATTERN "streams" EXCLUDE PATTERN "ptz" EXCLUDE
        PATTERN "ModuleParts.h" EXCLUDE
        PATTERN "TestDevice.h" EXCLUDE
        # Nor what the WebSocket clients are made of.
        PATTERN "platform/websocket" EXCLUDE PATTERN "ClientText.h" EXCLUDE
        PATTERN "FacePacket.h" EXCLUDE PATTERN "PreviewFrame.h" EXCLUDE)

configure_package_config_file(cmake/deviceaccess-config.cmake.in deviceaccess-config.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(deviceaccess-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/deviceaccess-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/deviceaccess-config-version.cmake
        DESTINATION ${package_dir})
