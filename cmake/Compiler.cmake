# Warning and sanitizer flags as one interface target, linked by everything of ours and by nothing that is installed.
add_library(tamba_flags INTERFACE)
if(MSVC)
  target_compile_options(tamba_flags INTERFACE /W4 /utf-8 $<$<BOOL:${TAMBA_WERROR}>:/WX>)
  target_compile_definitions(tamba_flags INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  target_compile_options(tamba_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow
    $<$<BOOL:${TAMBA_WERROR}>:-Werror>)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # This compiler takes inlined std::string concatenation for overlapping copies.
  target_compile_options(tamba_flags INTERFACE -Wno-restrict)
endif()
if(TAMBA_SANITIZE)
  # The library has no type information for the check of virtual calls to look at.
  target_compile_options(tamba_flags INTERFACE -fsanitize=${TAMBA_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(tamba_flags INTERFACE -fsanitize=${TAMBA_SANITIZE})
endif()
