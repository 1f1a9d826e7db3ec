# Sanitizer builds of the native tree (./dev.sh sanitize): every target, the effect module
# the host dlopens included, is compiled with the same runtime checks, because a module built
# without them would hide its own faults and one built with another runtime would not load.
#
#   address: AddressSanitizer (with LeakSanitizer) and UndefinedBehaviorSanitizer, stopping at
#            the first undefined-behaviour report instead of printing it and carrying on
#   thread:  ThreadSanitizer (the host's iterate pool runs the effect's passes on many threads)
set(ORBULON_SANITIZE "" CACHE STRING "Sanitizers for the native build: address, thread or empty")
set_property(CACHE ORBULON_SANITIZE PROPERTY STRINGS "" address thread)

if(ORBULON_SANITIZE STREQUAL "")
  return()
endif()
if(CMAKE_CROSSCOMPILING OR WIN32)
  message(FATAL_ERROR "ORBULON_SANITIZE is for the native build only")
endif()

if(ORBULON_SANITIZE STREQUAL "address")
  # float-cast-overflow (a float turned into an integer it does not fit) is part of clang's
  # "undefined" but not of GCC's; the host and effect convert user values to 16.16 and pixels.
  set(ORBULON_SANITIZER_FLAGS -fsanitize=address,undefined,float-cast-overflow
      -fno-sanitize-recover=undefined,float-cast-overflow)
elseif(ORBULON_SANITIZE STREQUAL "thread")
  set(ORBULON_SANITIZER_FLAGS -fsanitize=thread)
else()
  message(FATAL_ERROR "ORBULON_SANITIZE must be address, thread or empty, not '${ORBULON_SANITIZE}'")
endif()
# Whole stacks in the reports, also through the effect's inlined kernels.
list(APPEND ORBULON_SANITIZER_FLAGS -fno-omit-frame-pointer)

# The sanitizer flags change what is checked, never the arithmetic: the effect keeps its own
# -ffp-contract=off -fno-fast-math (shell/CMakeLists.txt), so its pixels stay the ones the
# golden-image tests expect.
add_compile_options(${ORBULON_SANITIZER_FLAGS})
# For code that behaves differently under AddressSanitizer (GCC says so itself, clang 14 does not).
if(ORBULON_SANITIZE STREQUAL "address")
  add_compile_definitions(ORBULON_ADDRESS_SANITIZER=1)
endif()
# GCC's flow analysis misreads the sanitizers' added checks and warns of uninitialised values
# in the standard library (std::regex, std::function); the plain build keeps the warning.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-maybe-uninitialized)
endif()
add_link_options(${ORBULON_SANITIZER_FLAGS})

# Clang links its sanitizer runtime into executables only, and the host executable exports it
# to the modules it dlopens; a module therefore has the runtime's symbols unresolved at link
# time, which shell/CMakeLists.txt would otherwise refuse (--no-undefined). GCC links its
# shared runtime into modules too.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  set(ORBULON_MODULE_RUNTIME_FROM_HOST ON)
else()
  set(ORBULON_MODULE_RUNTIME_FROM_HOST OFF)
endif()
