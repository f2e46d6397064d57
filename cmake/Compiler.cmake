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
if(WIN32)
  target_compile_definitions(tamba_flags INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
endif()
if(MINGW)
  # The compiler's own printf family knows C99; its runtimes go into the binary, so that no mingw DLL has to be around.
  target_compile_definitions(tamba_flags INTERFACE __USE_MINGW_ANSI_STDIO=1)
  target_link_options(tamba_flags INTERFACE -static)
endif()
if(TAMBA_SANITIZE)
  # The library has no type information for the check of virtual calls to look at.
  target_compile_options(tamba_flags INTERFACE -fsanitize=${TAMBA_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(tamba_flags INTERFACE -fsanitize=${TAMBA_SANITIZE})
endif()
