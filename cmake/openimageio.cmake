# OpenImageIO as the host and its tests use it. Debian's package names an OpenCV include
# folder that it does not install; drop it so that the generate step does not fail on a
# missing path.
if(NOT TARGET OpenImageIO::OpenImageIO)
  find_package(OpenImageIO REQUIRED)
  get_target_property(oiio_includes OpenImageIO::OpenImageIO INTERFACE_INCLUDE_DIRECTORIES)
  list(FILTER oiio_includes EXCLUDE REGEX "opencv")
  set_target_properties(OpenImageIO::OpenImageIO PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${oiio_includes}" INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "")
endif()
