# The file and colour libraries, from the distribution's packages.
find_package(Threads REQUIRED)
find_package(Imath CONFIG REQUIRED)
find_package(OpenEXR CONFIG REQUIRED)
find_package(OpenImageIO CONFIG REQUIRED)
find_package(TBB CONFIG REQUIRED)
find_package(PkgConfig REQUIRED)
# The CMake package of OpenColorIO computes a wrong prefix where Debian puts it; its pkg-config file is right.
pkg_check_modules(OCIO REQUIRED IMPORTED_TARGET OpenColorIO)

# The OpenImageIO target names include folders of packages that need not be installed; CMake refuses such targets.
foreach(property INTERFACE_INCLUDE_DIRECTORIES INTERFACE_SYSTEM_INCLUDE_DIRECTORIES)
    get_target_property(all OpenImageIO::OpenImageIO ${property})
    set(kept "")
    foreach(path IN LISTS all)
        if(EXISTS "${path}")
            list(APPEND kept "${path}")
        endif()
    endforeach()
    set_target_properties(OpenImageIO::OpenImageIO PROPERTIES ${property} "${kept}")
endforeach()
