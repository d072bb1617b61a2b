// Configuration tables: variables by name, read from files of lines "NAME value # comment". The
// operations keep no state of their own; any number of tables can be in use.
#pragma once

#include <cstddef>

/// One variable.
struct conf_entry {
    char* key;   ///< private copy, owned by the entry
    char* value; ///< private copy, owned by the entry; never null once stored
};

/// One table. All zero before the first use.
struct conf_data {
    conf_entry* data;  ///< owned; null before conf_init_r
    std::size_t size;  ///< entries that `data` has room for
    std::size_t nmemb; ///< entries in use, at most `size`; their keys are unique
    int finalized;     ///< 1 while the entries are sorted by key
};

/// Creates the entry array of a zeroed table, or makes room for one more entry. Returns 0, or -1
/// with errno ENOMEM; the entries that were there stay.
int conf_init_r(conf_data* pconf);

/// Stores copies of both texts; a name that is there already gets the new value. Returns 0, or -1
/// with errno ENOMEM after a message; the table is then as it was.
int conf_set_r(const char* name, const char* value, conf_data* pconf);

/// Sorts the entries by key, unless they are.
void conf_finalize_r(conf_data* pconf);

/// The value, owned by the table; null when there is none.
char* conf_get_r(const char* name, conf_data* pconf);

/// Reads a file into the table and sorts it. Lines are of any length; empty ones and those that
/// begin with "#" are passed over, malformed ones too, after a message. The last value of a name
/// counts. Returns 0, or -1 with errno set when the file cannot be opened or read or memory runs
/// out; what was read until then is in the table.
int conf_read_file_r(const char* conf_file, conf_data* pconf);

/// Frees entries, array and the table itself, which came from malloc; null is allowed.
void conf_free_r(conf_data* pconf);

/// Order of two conf_entry by key, for qsort, bsearch, lfind and lsearch.
int cmp_conf(const void* left, const void* right);
