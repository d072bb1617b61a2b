#include "autoresponder/incoming/header_facts.h"

#include "autoresponder/incoming/automatic.h"
#include "autoresponder/incoming/destinations.h"
#include "autoresponder/incoming/thread.h"

HeaderFacts header_facts;

HeaderFacts read_header_facts(const DwHeaders& headers) {
    return {automatic_sign(headers), bounce_sign(headers), read_destinations(headers),
            read_thread(headers)};
}
