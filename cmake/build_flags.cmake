# The flags that every target of this project gets: warnings are errors, hardening is on.
add_library(callhome_build_flags INTERFACE)

target_compile_options(callhome_build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wzero-as-null-pointer-constant -Wsuggest-override
  -Wredundant-decls -Werror
  -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
target_compile_definitions(callhome_build_flags INTERFACE
  _GLIBCXX_ASSERTIONS
  $<$<CONFIG:Release,RelWithDebInfo>:_FORTIFY_SOURCE=3>
  CALLHOME_MARKER_FOLDER="${CALLHOME_MARKER_FOLDER}"
  CALLHOME_VERSION="${PROJECT_VERSION}")
target_link_options(callhome_build_flags INTERFACE
  -Wl,-z,relro,-z,now,-z,noexecstack -Wl,--as-needed)

# clang 14 takes this option only together with a warning that it will go away.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(callhome_build_flags INTERFACE -ftrivial-auto-var-init=zero)
endif()

set(CALLHOME_SANITIZERS "" CACHE STRING "Sanitizers to build with, for example address,undefined")
if(CALLHOME_SANITIZERS)
  # To look for undefined behaviour in the tests themselves would take a quarter of the time of their build.
  target_compile_options(callhome_build_flags INTERFACE
    -fsanitize=${CALLHOME_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all
    $<$<BOOL:$<TARGET_PROPERTY:CALLHOME_TESTS>>:-fno-sanitize=undefined>)
  target_link_options(callhome_build_flags INTERFACE -fsanitize=${CALLHOME_SANITIZERS})
endif()
