# Compiler settings of our own code, in one place. Third-party code (GoogleTest) is not touched.

find_program(ZARNOW_CCACHE ccache)
if(ZARNOW_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ZARNOW_CCACHE})
endif()

function(zarnow_target name)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/source ${PROJECT_SOURCE_DIR})
  if(MSVC)
    target_compile_options(${name} PRIVATE /W4 /WX /permissive- /utf-8)
  else()
    target_compile_options(${name} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  endif()
  if(WIN32)
    target_compile_definitions(${name} PRIVATE
      UNICODE _UNICODE NOMINMAX _WIN32_WINNT=0x0601 WINVER=0x0601)
  endif()
endfunction()

# A program or DLL that needs nothing but what Windows brings: static C++ runtime, ASLR, high-entropy VA, NX.
function(zarnow_windows_image name)
  if(MSVC)
    set_property(TARGET ${name} PROPERTY MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
    target_link_options(${name} PRIVATE /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT)
  elseif(WIN32)
    target_link_options(${name} PRIVATE -static -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
    if(CMAKE_BUILD_TYPE STREQUAL "Release")
      target_link_options(${name} PRIVATE -s)
    endif()
  endif()
endfunction()
