-- A schedule for responder rules, for hosts with AUTORESPONDER_SCHEDULE: from when and until when a rule
-- answers, and for how many calendar days a sender's answers are counted. A rule without a row is as ever.
-- Loads beside panel.sql or a panel's own tables, whose rules are mail_resp.
create table resp_schedule (
    rn_id   int unsigned not null primary key,       -- mail_resp.id
    begins  datetime          default null,          -- NULL: open
    ends    datetime          default null,          -- the first moment that is no longer answered
    days    smallint unsigned default null           -- 1 to 366; NULL: one
) engine=InnoDB default charset=utf8mb4;
