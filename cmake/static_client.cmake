# Linking decides more of a start than code: the client library and OpenSSL take milliseconds to be
# found, mapped and relocated (docs/PERFORMANCE.md has the figures). So the program takes everything
# but libc from static archives where they are installed, and leaves out what it never calls.
#
#   ovk_link_client(TARGET)
#
# OVK_LINK_STATIC=OFF gives the ordinary dynamic program. Sanitizer builds are always dynamic.

option(OVK_LINK_STATIC "Link the program's libraries statically where their archives are installed" ON)

# What the client library's archive needs is not all in its own .pc file: OpenSSL has needs as well.
pkg_check_modules(CRYPTO libcrypto)

include(CheckCXXSourceCompiles)

# Empty where an archive is missing, or where they want something that nobody told of.
function(ovk_find_archives result)
  set(found)
  set(${result} "" PARENT_SCOPE)
  foreach(name ${MARIADB_STATIC_LIBRARIES} ${IDN_STATIC_LIBRARIES} ${CRYPTO_STATIC_LIBRARIES})
    if(name MATCHES "^(dl|m|pthread|c|rt)$")
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
  set(CMAKE_REQUIRED_INCLUDES ${MARIADB_INCLUDE_DIRS} ${IDN_INCLUDE_DIRS})
  set(CMAKE_REQUIRED_LIBRARIES -Wl,--start-group ${found} -Wl,--end-group)
  check_cxx_source_compiles("#include <idna.h>
#include <mysql.h>
int main() { return idna_to_ascii_8z(0, 0, 0) + (mysql_real_connect(0, 0, 0, 0, 0, 0, 0, 0) != 0); }"
    OVK_ARCHIVES_LINK)
  if(NOT OVK_ARCHIVES_LINK)
    message(STATUS "the archives do not link: linking dynamically")
    return()
  endif()
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

# Functions of the archives that the program does without, and lib/client_startup.c stands in for.
set(OVK_REPLACED getservbyname tls_library_version)
foreach(name start end init connect read read_async write write_async close verify_server_cert
             get_cipher get_finger_print get_protocol_version set_connection)
  list(APPEND OVK_REPLACED ma_tls_${name})
endforeach()
list(TRANSFORM OVK_REPLACED PREPEND -Wl,--wrap=)

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
    -Wl,--start-group responder mimelib codecs panel base ${archives} -Wl,--end-group)
endfunction()
