# Shared settings for every target of the project.

# Warnings are errors on our own code; sanitizers come from the preset through KRGEOM_SANITIZE.
set(KRGEOM_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined")

function(krgeom_configure_target target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
  endif()
  if(KRGEOM_BUILD_FUZZ)
    # Coverage for libFuzzer in every target.
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  if(KRGEOM_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KRGEOM_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${KRGEOM_SANITIZE})
  endif()
endfunction()

# A library of the project: hidden visibility, an export header, an alias krGeom::<exportName>.
function(krgeom_add_library target exportName exportMacroBase exportHeader)
  add_library(${target})
  add_library(krGeom::${exportName} ALIAS ${target})
  krgeom_configure_target(${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${exportName}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON
    INSTALL_RPATH "$ORIGIN"
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  generate_export_header(${target}
    BASE_NAME ${exportMacroBase}
    EXPORT_FILE_NAME ${CMAKE_BINARY_DIR}/include/${exportHeader})
  if(NOT BUILD_SHARED_LIBS)
    string(TOUPPER ${exportMacroBase} upperBase)
    target_compile_definitions(${target} PUBLIC ${upperBase}_STATIC_DEFINE)
  endif()
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endfunction()
