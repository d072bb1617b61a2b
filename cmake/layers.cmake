# One folder, one layer, one target.
#
#   ovk_layer(NAME [FOLDER folder] [SOURCES file... HEADERS file...] [NEEDS target...])
#
# Headers are included with their folder's path ("lib/forkexec.h"). Each layer gets an include
# directory that holds only a link to its own folder, or to the headers named, so a header is found
# only by the layer itself and by those that name it under NEEDS: a call upward does not compile.
# The folder is the current one unless named. All that lies in it belongs to the layer, a program's
# main.cpp aside, unless sources and headers are named.

include(CheckCXXCompilerFlag)

add_library(ovk_options INTERFACE)
target_compile_options(ovk_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual> -Wcast-qual -Wformat=2
  -Wmissing-format-attribute -Wimplicit-fallthrough -fstack-protector-strong)
foreach(protection stack-clash-protection cf-protection)
  check_cxx_compiler_flag(-f${protection} OVK_HAVE_${protection})
  if(OVK_HAVE_${protection})
    target_compile_options(ovk_options INTERFACE -f${protection})
  endif()
endforeach()
# A view does not end where its buffer does: without this, reading behind it goes unseen.
target_compile_definitions(ovk_options INTERFACE _GLIBCXX_ASSERTIONS)
if(OVK_WERROR)
  target_compile_options(ovk_options INTERFACE -Werror)
endif()
target_link_options(ovk_options INTERFACE -Wl,-z,relro,-z,now)

include(CheckPIESupported)
check_pie_supported()

if(OVK_SANITIZE)
  target_compile_options(ovk_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_definitions(ovk_options INTERFACE OVK_SANITIZED) # they call and map more
  target_link_options(ovk_options INTERFACE -fsanitize=address,undefined)
else()
  target_compile_definitions(ovk_options INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  # A program holds the functions that it calls, and the texts of those: no others of its layers.
  target_compile_options(ovk_options INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(ovk_options INTERFACE -Wl,--gc-sections)
endif()

if(OVK_FUZZ) # what leads libFuzzer to new code
  target_compile_options(ovk_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

function(ovk_layer name)
  cmake_parse_arguments(LAYER "" "FOLDER" "SOURCES;HEADERS;NEEDS" ${ARGN})
  get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}/${LAYER_FOLDER}" ABSOLUTE)
  file(RELATIVE_PATH path "${PROJECT_SOURCE_DIR}" "${folder}")
  if(LAYER_SOURCES)
    list(TRANSFORM LAYER_SOURCES PREPEND "${folder}/")
  else()
    file(GLOB LAYER_SOURCES CONFIGURE_DEPENDS "${folder}/*.cpp")
    list(REMOVE_ITEM LAYER_SOURCES "${folder}/main.cpp")
  endif()
  set(view "${PROJECT_BINARY_DIR}/layers/${name}")
  file(REMOVE_RECURSE "${view}")
  if(LAYER_HEADERS)
    file(MAKE_DIRECTORY "${view}/${path}")
    foreach(header ${LAYER_HEADERS})
      file(CREATE_LINK "${folder}/${header}" "${view}/${path}/${header}" SYMBOLIC)
    endforeach()
  else()
    get_filename_component(parent "${view}/${path}" DIRECTORY)
    file(MAKE_DIRECTORY "${parent}")
    file(CREATE_LINK "${folder}" "${view}/${path}" SYMBOLIC)
  endif()
  add_library(${name} STATIC ${LAYER_SOURCES})
  target_include_directories(${name} PUBLIC "${view}")
  target_link_libraries(${name} PUBLIC ${LAYER_NEEDS} PRIVATE ovk_options)
endfunction()
