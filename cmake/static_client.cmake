# Linking decides more of a start than code: the client library and OpenSSL take milliseconds to be
# found, mapped and relocated (docs/PERFORMANCE.md has the figures). So the program takes everything
# but libc from static archives where they are installed, and leaves out what it never calls.
#
#   ovk_link_client(TARGET)
#
# OVK_LINK_STATIC=OFF gives the ordinary dynamic program. Sanitizer builds are always dynamic.

option(OVK_LINK_STATIC "Link the program's libraries statically where their archives are installed" ON)

# Functions of the archives that the program does without, and lib/client_startup.c stands in for.
set(OVK_REPLACED getservbyname tls_library_version ma_tls_start ma_tls_end ma_tls_init)
list(TRANSFORM OVK_REPLACED PREPEND -Wl,--wrap=)
foreach(name connect read read_async write write_async close verify_server_cert get_cipher
             get_finger_print get_protocol_version set_connection)
  list(APPEND OVK_REPLACED -Wl,--wrap=ma_tls_${name} -Wl,--defsym=__wrap_ma_tls_${name}=ovk_never_called)
endforeach()

# Empty where an archive is missing, or where the client library cannot do without OpenSSL, as
# versions may whose functions are others than those above: nine megabytes of it in every start are
# worse than a dynamic program.
function(ovk_find_archives result)
  set(found)
  set(${result} "" PARENT_SCOPE)
  foreach(name ${MARIADB_STATIC_LIBRARIES} ${IDN_STATIC_LIBRARIES}
      ${UTF8PROC_STATIC_LIBRARIES})
    if(name MATCHES "^(ssl|crypto)$")
      continue()
    elseif(name MATCHES "^(dl|m|pthread|c|rt)$")
      list(APPEND found ${name})
      continue()
    endif()
    find_library(OVK_ARCHIVE_${name} lib${name}.a)
    if(NOT OVK_ARCHIVE_${name})
      message(STATUS "lib${name}.a is not installed: linking dynamically")
      return()
    endif()
    list(APPEND found ${OVK_ARCHIVE_${name}})
  endforeach()
  if(NOT DEFINED OVK_ARCHIVES_LINK)
    set(trial "${PROJECT_BINARY_DIR}/CMakeFiles/archives.cpp")
    file(WRITE "${trial}" "#include <idna.h>
#include <mysql.h>
int main() { return idna_to_ascii_8z(0, 0, 0) + (mysql_real_connect(0, 0, 0, 0, 0, 0, 0, 0) != 0); }")
    try_compile(OVK_ARCHIVES_LINK "${PROJECT_BINARY_DIR}/CMakeFiles/archives"
      SOURCES "${trial}" "${PROJECT_SOURCE_DIR}/lib/client_startup.c"
      CMAKE_FLAGS "-DINCLUDE_DIRECTORIES=${MARIADB_INCLUDE_DIRS};${IDN_INCLUDE_DIRS}"
      LINK_OPTIONS -Wl,--gc-sections ${OVK_REPLACED}
      LINK_LIBRARIES -Wl,--start-group ${found} -Wl,--end-group)
  endif()
  if(NOT OVK_ARCHIVES_LINK)
    message(STATUS "the archives do not link without OpenSSL: linking dynamically")
    return()
  endif()
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

include(CheckLinkerFlag)
check_linker_flag(CXX "-Wl,-z,pack-relative-relocs" OVK_HAVE_RELR)

function(ovk_link_client target)
  if(NOT OVK_LINK_STATIC OR OVK_SANITIZE)
    return()
  endif()
  ovk_find_archives(archives)
  if(NOT archives)
    return()
  endif()
  target_sources(${target} PRIVATE "${PROJECT_SOURCE_DIR}/lib/client_startup.c")
  # Without debugging information: over that of what it leaves out, ld of binutils 2.40 crashes.
  target_link_options(${target} PRIVATE
    -Wl,--strip-debug -static-libstdc++ -static-libgcc -Wl,--gc-sections -Wl,--as-needed ${OVK_REPLACED}
    $<$<BOOL:${OVK_HAVE_RELR}>:-Wl,-z,pack-relative-relocs>)
  # In front of the shared libraries that the layers name: --as-needed then drops those.
  target_link_libraries(${target} PRIVATE
    -Wl,--start-group responder outgoing deciding incoming run reading mimelib codecs panel cell base ${archives} -Wl,--end-group)
endfunction()
