#include "autoresponder/policy/header_facts.h"

#include "autoresponder/policy/automatic.h"
#include "autoresponder/policy/destinations.h"
#include "autoresponder/policy/thread.h"

HeaderFacts header_facts;

HeaderFacts read_header_facts(const DwHeaders& headers) {
    return {automatic_sign(headers), bounce_sign(headers), read_destinations(headers),
            read_thread(headers)};
}
