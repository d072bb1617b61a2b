#include "autoresponder/explain/rules.h"

#include "autoresponder/deciding/limiter.h"
#include "autoresponder/deciding/rules.h"
#include "autoresponder/deciding/trigger.h"
#include "autoresponder/explain/listener.h"
#include "autoresponder/explain/search.h"
#include "autoresponder/outgoing/attachments.h"
#include "autoresponder/outgoing/forward.h"
#include "autoresponder/outgoing/notice.h"
#include "autoresponder/outgoing/reply.h"
#include "autoresponder/outgoing/size_limit.h"
#include "autoresponder/run/temporary_file.h"
#include "base/text.h"
#include "codecs/idn.h"

#include <cstring>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>

namespace {

AttachmentFacts attachment(const std::string& directory, const std::string& name, bool missing) {
    AttachmentFacts told{name, missing, std::nullopt, {}};
    const Descriptor file = open_attachment(directory, name);
    struct stat status;
    if (!file)
        told.problem = std::strerror(errno);
    else if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode))
        told.size = static_cast<std::uint64_t>(status.st_size);
    else
        told.problem = "it is a directory";
    return told;
}

std::vector<AttachmentFacts> attachments_of(const ResponderRule& rule,
                                            const ReplyContext& context) {
    const std::string& directory = context.mailbox.attachments_dir;
    const AttachmentNames names = find_attachments(context.connection, rule.id, directory);
    std::vector<AttachmentFacts> told;
    for (const std::string& name : names.found)
        told.push_back(attachment(directory, name, false));
    std::string_view rest = names.missing;
    std::string_view name;
    while (take_line(rest, name))
        told.push_back(attachment(directory, std::string(name), true));
    return told;
}

/// What is the same for all rules of an explanation.
class Gatherer {
public:
    Gatherer(const ReplyContext& context, const MailFacts& mail, const Question& question,
             Descriptor& reply)
        : context_(context), mail_(mail), question_(question),
          triggers_(context.mail, context.policy),
          texts_(question.mail.value_or(DwString()), context.mail, mail.text), reply_(reply) {}

    RuleFacts explain(const ResponderRule& rule) {
        RuleFacts told;
        told.id = rule.id;
        told.on = is_on(rule);
        told.answers_a_day = rule.ans_freq;
        told.senders_remembered = rule.mem_limit;
        const Listener listener;
        told.forwards = plan_forward(context_.connection, context_.mail, rule.id).recipients;
        told.attachments = attachments_of(rule, context_);
        explain_trigger(rule, told.trigger);
        if (has_content())
            explain_limit(rule, told);
        told.outcome = outcome(told);
        if (told.outcome == Outcome::answered || (has_content() && rule.id == question_.reply_of))
            compose(rule, told);
        told.complaints.insert(told.complaints.begin(), listener.lines().begin(),
                               listener.lines().end());
        return told;
    }

private:
    /// Whether there is a mail that a trigger can be sought in.
    bool has_content() const { return mail_.given && !mail_.sender.empty(); }

    void explain_trigger(const ResponderRule& rule, TriggerFacts& told) {
        const bool in_subject = rule.key_where == "subj";
        if (!in_subject && rule.key_where != "body")
            return;
        told.where = in_subject ? "subject" : "text";
        told.text = rule.keystr;
        if (!has_content())
            return;
        if (const std::optional<Occurrence> found = triggers_.find(rule))
            told.found = place_in(told.where, "line", *found);
        else
            told.elsewhere = texts_.places_of(rule.keystr);
    }

    void explain_limit(const ResponderRule& rule, RuleFacts& told) {
        MYSQL* const connection = context_.connection;
        const LimiterVerdict verdict =
            limiter_verdict(connection, context_.mail, rule.id, rule.ans_freq, rule.mem_limit);
        told.limit = LimitFacts{verdict.allows(), verdict.answers.value_or(0), verdict.most_answers,
                                verdict.senders,  verdict.most_senders,        {}};
        if (verdict.evicts())
            told.limit->evicted = senders_to_evict(connection, rule.id);
    }

    /// Into a file that nobody else sees.
    void compose(const ResponderRule& rule, RuleFacts& told) {
        const auto plan = [&](const std::string& missing) {
            if (const std::optional<NoticePlan> notice = plan_notice(missing, rule, context_))
                told.notice = NoticeFacts{notice->envelope_sender, notice->recipient};
        };
        ReplyFacts reply;
        reply.limit = size_limit();
        reply.recipient = context_.mail.from;
        if (!reply_file.create(reply.limit))
            throw std::runtime_error("there is no temporary file to be had for the reply");
        reply_file.remove();
        try {
            const ComposedReply composed =
                compose_reply(rule, context_, reply.limit, reply_file, plan);
            reply.envelope_sender = composed.envelope_sender;
            reply.oversize = composed.oversize;
            reply.size = reply_file.size();
            told.reply = std::move(reply);
            if (rule.id == question_.reply_of)
                reply_ = reply_file.take();
        } catch (const orvek::idn::IdnaError& failure) {
            told.complaints.push_back(concat({"IDN conversion error: ", failure.what()}));
            told.outcome = Outcome::failed;
            ended_ = true;
        }
    }

    Outcome outcome(const RuleFacts& told) {
        if (!told.on)
            return Outcome::off;
        if (!mail_.given)
            return Outcome::on;
        if (mail_.stopped || ended_)
            return Outcome::not_reached;
        if (!told.trigger.where.empty() && !told.trigger.found)
            return Outcome::no_match;
        if (told.limit && !told.limit->allows)
            return Outcome::limit_reached;
        return mail_.refusal.empty() ? Outcome::answered : Outcome::refused;
    }

    const ReplyContext& context_;
    const MailFacts& mail_;
    const Question& question_;
    const TriggerSearch triggers_;
    MailTexts texts_;
    bool ended_ = false;
    Descriptor& reply_;
};

} // namespace

std::vector<RuleFacts> explain_rules(const ReplyContext& context, const MailFacts& mail,
                                     const Question& question, Descriptor& reply) {
    const MysqlResult rows = query_rules(context.connection, context.mailbox.id);
    Gatherer gatherer(context, mail, question, reply);
    std::vector<RuleFacts> told;
    while (const std::optional<ResponderRule> rule = next_rule(rows))
        told.push_back(gatherer.explain(*rule));
    return told;
}
