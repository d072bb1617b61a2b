#include "lib/dbconnect_legacy.h"

#include "lib/dbconnect.h"
#include "lib/product_log.h"

MYSQL* db_connect_nothrow(char* msgbuf, std::size_t msgbufsize) {
    return orvek_db_connect(msgbuf, msgbufsize);
}

MYSQL* db_connect() {
    char message[4097] = "";
    MYSQL* const handle = db_connect_nothrow(message, sizeof message);
    if (handle == nullptr)
        messlog2(0, 0, "%s", message);
    return handle;
}
