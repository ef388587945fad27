# What every target of the project is compiled with.

add_library(kvorlib_flags INTERFACE)
target_compile_features(kvorlib_flags INTERFACE cxx_std_20)
target_compile_options(kvorlib_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wzero-as-null-pointer-constant -Wsuggest-override -Werror)
# g++ 12 sees overlaps in the standard string that are not there, at -O3.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(kvorlib_flags INTERFACE -Wno-restrict)
endif()
# Many sources compiled as one: what is in an unnamed namespace of theirs then looks like a header's.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(kvorlib_flags INTERFACE -Wno-subobject-linkage)
endif()

if(KVORLIB_SANITIZE_THREADS)
  set(KVORLIB_SANITIZERS -fsanitize=thread -fno-omit-frame-pointer)
  # It does not understand fences. Ours are there for other processes, of which it sees nothing.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    list(APPEND KVORLIB_SANITIZERS -Wno-tsan)
  endif()
elseif(KVORLIB_SANITIZE)
  set(KVORLIB_SANITIZERS -fsanitize=address,undefined -fno-sanitize-recover=all
                         -fno-omit-frame-pointer)
endif()
if(KVORLIB_SANITIZERS)
  target_compile_options(kvorlib_flags INTERFACE ${KVORLIB_SANITIZERS})
  target_compile_definitions(kvorlib_flags INTERFACE KVORLIB_SANITIZED)
  target_link_options(kvorlib_flags INTERFACE ${KVORLIB_SANITIZERS})
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
