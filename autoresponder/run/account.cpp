#include "autoresponder/run/account.h"

const char* word_of(Outcome outcome) {
    switch (outcome) {
    case Outcome::on:
        return "on";
    case Outcome::off:
        return "off";
    case Outcome::outside:
        return "not in its time";
    case Outcome::no_match:
        return "no match";
    case Outcome::limit_reached:
        return "limit reached";
    case Outcome::refused:
        return "refused";
    case Outcome::answered:
        return "answered";
    case Outcome::failed:
        return "failed";
    case Outcome::not_reached:
        break;
    }
    return "not reached";
}
