# libFuzzer builds (./dev.sh fuzz): the targets in tests/fuzz, with the host library and the
# effect module compiled for coverage feedback too, so that the fuzzer steers by what happens
# inside the parsers, the host and the module it dlopens.
option(ORBULON_FUZZ "Build the libFuzzer targets of tests/fuzz (clang; implies ORBULON_SANITIZE=address)" OFF)

if(NOT ORBULON_FUZZ)
  return()
endif()
if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  message(FATAL_ERROR "ORBULON_FUZZ needs clang (libFuzzer): configure with -DCMAKE_CXX_COMPILER=clang++")
endif()
if(NOT ORBULON_SANITIZE)
  set(ORBULON_SANITIZE address CACHE STRING "Sanitizers for the native build: address, thread or empty" FORCE)
elseif(NOT ORBULON_SANITIZE STREQUAL "address")
  message(FATAL_ERROR "ORBULON_FUZZ runs with the address sanitizers, not '${ORBULON_SANITIZE}'")
endif()

# Coverage everywhere; only the fuzz programs themselves link libFuzzer's main.
add_compile_options(-fsanitize=fuzzer-no-link)
set(ORBULON_FUZZER_LINK_FLAGS -fsanitize=fuzzer)
