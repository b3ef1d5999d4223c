# What `cmake --install` lays down is told in this file alone.
include(CMakePackageConfigHelpers)

# The module's public headers; all others of image_io are internal. The host shows all of its own.
set(zv_public_headers
    image_io/zv_image_io.h
    image_io/format/image_io_file_format.h
    image_io/frame/event_table.h
    image_io/frame/export.h
    image_io/frame/image_io.h
    image_io/frame/library_names.h
    image_io/frame/version.h
    image_io/load/color_space_rules.h
    image_io/load/image_header.h
    image_io/load/image_io_load.h
    image_io/load/image_load_options.h
    image_io/load/image_load_report.h
    image_io/plate/plate_image.h
    image_io/plate/plate_image_manager.h
    image_io/presets/image_io_resolution_preset_manager.h
    image_io/save/image_io_exr_utils.h
    image_io/save/image_io_output.h
    image_io/save/image_io_outputs.h
    image_io/save/image_io_save.h
    image_io/save/image_io_save_private.h
    image_io/save/image_save_options.h
    image_io/texture/image_io_texture_manager.h
    image_io/texture/image_io_texture_stream.h
    image_io/texture/map_eval_ctx.h)

# The same names inside this build and for those who find the package.
add_library(zv_image_io::zv_host ALIAS zv_host)
add_library(zv_image_io::zv_image_io ALIAS zv_image_io)

# Headers keep their folders, so that they include each other as they do here.
set(zv_header_root ${CMAKE_INSTALL_INCLUDEDIR}/zv_image_io)
foreach(header IN LISTS zv_public_headers)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${zv_header_root}/${folder})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/host DESTINATION ${zv_header_root} FILES_MATCHING PATTERN "*.h")

# The installed tree can be moved: libraries and programs find each other by their places relative to one another.
set_target_properties(zv_host zv_image_io PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(zvio PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS zv_host zv_image_io EXPORT zv_image_ioTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS zvio RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES LICENSE README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

# find_package(zv_image_io)
set(zv_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/zv_image_io)
install(EXPORT zv_image_ioTargets NAMESPACE zv_image_io:: DESTINATION ${zv_package_folder})
configure_package_config_file(cmake/zv_image_ioConfig.cmake.in ${PROJECT_BINARY_DIR}/zv_image_ioConfig.cmake
    INSTALL_DESTINATION ${zv_package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zv_image_ioConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zv_image_ioConfig.cmake ${PROJECT_BINARY_DIR}/zv_image_ioConfigVersion.cmake
    DESTINATION ${zv_package_folder})

# pkg-config zv_image_io. The folders are written relative to the file, so that `--prefix` at install time counts.
file(RELATIVE_PATH zv_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/zv_image_io.pc.in ${PROJECT_BINARY_DIR}/zv_image_io.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zv_image_io.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
