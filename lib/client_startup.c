/* What the MySQL client library does on its first use and a connection over a unix socket never
 * needs. Linked into the statically linked program only, in place of the originals (--wrap). */
#include <netdb.h>
#include <stddef.h>

int __real_ma_tls_start(char* message, size_t size);
int __wrap_ma_tls_start(char* message, size_t size);
struct servent* __wrap_getservbyname(const char* name, const char* protocol);

/* Sets up OpenSSL: configuration files, algorithm tables and error texts, more than half of the
 * instructions of a whole run. The library calls it once when it starts, whether or not any
 * connection will use TLS, and again from a connection that does and finds it undone. So the first
 * call is put off: it is the one that nobody has asked for. */
int __wrap_ma_tls_start(char* message, size_t size) {
    static int calls;
    return calls++ == 0 ? 0 : __real_ma_tls_start(message, size);
}

/* Asked for the TCP port of "mysql", through the name service and its files. The library falls back
 * to its own number. */
struct servent* __wrap_getservbyname(const char* name, const char* protocol) {
    (void)name;
    (void)protocol;
    return NULL;
}
