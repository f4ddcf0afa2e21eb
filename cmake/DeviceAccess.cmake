# The device-access library. Its folders add their sources to one object library, which the tests of
# hidden classes link directly.
add_library(deviceaccess_objects OBJECT)
set_target_properties(deviceaccess_objects PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
# Unique symbols would keep the library mapped after dlclose.
target_compile_options(deviceaccess_objects PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
target_link_libraries(deviceaccess_objects PUBLIC vmsplatform PRIVATE vms_warnings)

add_library(deviceaccess SHARED)
set_target_properties(deviceaccess PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION 0 INSTALL_RPATH "$ORIGIN"
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/deviceaccess.map)
target_link_libraries(deviceaccess PRIVATE deviceaccess_objects PUBLIC vmsplatform)
target_link_options(deviceaccess PRIVATE
    -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/deviceaccess.map -Wl,--no-undefined)
if(VMS_SANITIZE)
    # Sanitizer runtimes are resolved from the executable.
    set_property(TARGET deviceaccess APPEND PROPERTY LINK_OPTIONS -Wl,-z,undefs)
endif()
