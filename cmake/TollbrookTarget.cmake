# What every target of the project has in common: warnings and sanitizers.
function(tollbrook_target target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                                           -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
                                           # Members with a default are left out on purpose.
                                           -Wno-missing-field-initializers)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 sees overlapping copies in sound string concatenations (GCC bug 105651).
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(TOLLBROOK_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(TOLLBROOK_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${TOLLBROOK_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${TOLLBROOK_SANITIZE})
  endif()
endfunction()
