// What the MySQL client library brings along and a connection over a unix socket never needs.
// Linked into the statically linked program only, in place of the originals (--wrap; the list of
// names is in cmake/static_client.cmake).
#include <netdb.h>
#include <stddef.h>
#include <stdlib.h>

// TLS. No connection of this program asks for it: the panel's database is reached by its local
// socket, without any TLS option. Without these functions nothing refers to OpenSSL any more, which
// is four fifths of a statically linked program, most of the relocations that every start has to go
// through, and a quarter of its page faults. With a library that calls more of the family than
// this, as another version may, the program is linked dynamically.

int __wrap_ma_tls_start(char* message, size_t size);
void __wrap_ma_tls_end(void);
void* __wrap_ma_tls_init(void* connection);

// Sets up OpenSSL when the library starts: success, there is nothing to set up.
int __wrap_ma_tls_start(char* message, size_t size) {
    (void)message;
    (void)size;
    return 0;
}

void __wrap_ma_tls_end(void) {}

// A connection that wants TLS after all fails here.
void* __wrap_ma_tls_init(void* connection) {
    (void)connection;
    return NULL;
}

char __wrap_tls_library_version[64] = "none";

// All others work on what ma_tls_init returns, so nothing calls them: each is this one.
void ovk_never_called(void);
void ovk_never_called(void) {
    abort();
}

// Asked for the TCP port of "mysql", through the name service and its files. The library falls back
// to its own number.
struct servent* __wrap_getservbyname(const char* name, const char* protocol);
struct servent* __wrap_getservbyname(const char* name, const char* protocol) {
    (void)name;
    (void)protocol;
    return NULL;
}
