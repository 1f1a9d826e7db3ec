# OpenImageIO as the host and its tests use it. Debian's package names an OpenCV include
# folder that it does not install; drop it so that the generate step does not fail on a
# missing path.
if(NOT TARGET OpenImageIO::OpenImageIO)
  # Debian's Imath lists its Python module among its targets, but the module comes in another
  # package, and Imath's CMake file reports the missing file on every configure. Nothing here
  # uses the module: Imath is found first with its status messages held back, so that
  # OpenImageIO's own search for it finds it already loaded.
  set(orbulon_saved_log_level "${CMAKE_MESSAGE_LOG_LEVEL}")
  set(CMAKE_MESSAGE_LOG_LEVEL NOTICE)
  find_package(Imath CONFIG QUIET)
  set(CMAKE_MESSAGE_LOG_LEVEL "${orbulon_saved_log_level}")
  find_package(OpenImageIO REQUIRED)
  get_target_property(oiio_includes OpenImageIO::OpenImageIO INTERFACE_INCLUDE_DIRECTORIES)
  list(FILTER oiio_includes EXCLUDE REGEX "opencv")
  set_target_properties(OpenImageIO::OpenImageIO PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${oiio_includes}" INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "")
endif()
