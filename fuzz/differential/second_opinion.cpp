// second_opinion CORPUS-FOLDER [MUTATIONS [SEED]]: parses every message of the corpus, and so many
// mutated ones, with our classes and with GMime, and compares. Prints how often each known kind of
// difference came up, and every difference that no kind explains: then the status is 1.

#include "fuzz/differential/corpus.h"
#include "fuzz/differential/differences.h"
#include "fuzz/differential/mutation.h"
#include "fuzz/differential/opinion.h"

#include <cstdio>
#include <cstdlib>
#include <gmime/gmime.h>
#include <iterator>
#include <map>
#include <set>

namespace {

struct Field {
    std::string Opinion::*member;
    const char* name;
};

constexpr Field fields[] = {{&Opinion::sender, "sender"},
                            {&Opinion::subject, "subject"},
                            {&Opinion::charset, "charset"},
                            {&Opinion::part, "part"},
                            {&Opinion::body, "body"}};

std::vector<Field> differing(std::vector<Field> among, const Opinion& ours, const Opinion& theirs) {
    std::erase_if(among, [&](const Field& f) { return ours.*f.member == theirs.*f.member; });
    return among;
}

/// Looks for the causes of a message's differences: they are taken away as long as GMime comes to
/// agree on more fields.
class Explanation {
public:
    Explanation(std::string message, Opinion ours, std::vector<Field> open)
        : message_(std::move(message)), ours_(std::move(ours)), open_(std::move(open)) {
        take_away_few();
        // A header that ends early hides the rest from us but not from GMime.
        message_ = without_cause(differences[0], false, message_);
        message_ = without_cause(differences[1], false, message_);
        take_away_few();
        std::vector<const Difference*> many;
        for (const Difference& difference : differences) {
            many.push_back(&difference);
            take_away(many, false);
        }
    }

    const std::set<const Difference*>& causes() const { return causes_; }
    const std::vector<Field>& unexplained() const { return open_; }

private:
    void take_away_few() {
        for (const Difference& one : differences) {
            take_away({&one}, true);
            take_away({&one}, false);
        }
        for (const Difference& one : differences) {
            for (const Difference& other : differences) {
                take_away({&one, &other}, true);
                take_away({&one, &other}, false);
            }
        }
    }

    void take_away(const std::vector<const Difference*>& causes, bool first_only) {
        if (open_.empty())
            return;
        std::string changed = message_;
        bool reread = false;
        for (const Difference* cause : causes) {
            changed = without_cause(*cause, first_only, changed);
            reread |= cause->reread;
        }
        if (changed == message_)
            return;
        Opinion ours = reread ? our_opinion(changed) : ours_;
        std::vector<Field> still = differing(open_, ours, gmime_opinion(changed));
        if (still.size() == open_.size())
            return;
        causes_.insert(causes.begin(), causes.end());
        open_ = std::move(still);
        ours_ = std::move(ours);
        message_ = std::move(changed);
    }

    std::string message_;
    Opinion ours_;
    std::vector<Field> open_;
    std::set<const Difference*> causes_;
};

class Comparison {
public:
    void compare(const std::string& name, const std::string& message) {
        ++messages_;
        const Opinion ours = our_opinion(message);
        const Opinion theirs = gmime_opinion(message);
        const auto open = differing({std::begin(fields), std::end(fields)}, ours, theirs);
        if (open.empty())
            return;
        ++different_;
        const Explanation explanation(message, ours, open);
        for (const Difference* cause : explanation.causes())
            ++seen_[cause];
        for (const Field& field : explanation.unexplained())
            complain(name, message, field.name, ours.*field.member, theirs.*field.member);
    }

    /// Whether everything is explained.
    bool report() const {
        for (const Difference& difference : differences) {
            const auto seen = seen_.find(&difference);
            std::printf("%7zu  %s\n", seen == seen_.end() ? 0 : seen->second, difference.kind);
        }
        std::printf("%zu messages, %zu with differences, %zu unexplained\n", messages_, different_,
                    unexplained_);
        return unexplained_ == 0;
    }

private:
    void complain(const std::string& name, const std::string& message, const char* field,
                  const std::string& ours, const std::string& theirs) {
        if (++unexplained_ > 20)
            return;
        std::printf("---- %s: %s\nours:  %s\nGMime: %s\n", name.c_str(), field, shown(ours).c_str(),
                    shown(theirs).c_str());
        std::printf("%s\n", shown(message).c_str());
    }

    static std::string shown(const std::string& text) {
        std::string escaped;
        char hex[8];
        for (const char c : text) {
            const unsigned char byte = static_cast<unsigned char>(c);
            std::snprintf(hex, sizeof hex, "{%02X}", byte);
            escaped += byte < 32 || byte > 126 ? hex : std::string(1, c);
            if (c == '\n')
                escaped += '\n';
        }
        return escaped;
    }

    std::map<const Difference*, std::size_t> seen_;
    std::size_t messages_ = 0;
    std::size_t different_ = 0;
    std::size_t unexplained_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS-FOLDER [MUTATIONS [SEED]]\n", argv[0]);
        return 2;
    }
    const unsigned long mutations = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
    std::mt19937_64 random(argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 1);
    g_mime_init();
    const std::vector<CorpusMessage> corpus = read_corpus(argv[1]);
    Comparison comparison;
    for (const CorpusMessage& message : corpus)
        comparison.compare(message.name, message.text);
    std::printf("%zu messages in the corpus\n", corpus.size());
    for (unsigned long i = 0; i < mutations; ++i)
        comparison.compare("mutation " + std::to_string(i), mutate(corpus, random));
    const bool explained = comparison.report();
    return explained ? 0 : 1;
}
