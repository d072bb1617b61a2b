-- A small sample panel: two clients, two domains, one domain alias that serves mail and one that
-- does not, mailboxes, aliases, and rules of every kind. Load it after panel.sql.

set names utf8mb4;

insert into clients (id, login, pname, email) values
    (1, 'alpha', 'Anna Alpha', 'anna@alpha.test'),
    (2, 'beta',  '',           'owner@beta.test');

insert into domains (id, cl_id, name) values
    (1, 1, 'example.com'),
    (2, 2, 'example.org');

insert into domainaliases (dom_id, name, mail) values
    (1, 'example.net',  'true'),
    (1, 'parked.test',  'false');

insert into mail (id, dom_id, mail_name) values
    (1, 1, 'sales'),
    (2, 1, 'support'),
    (3, 1, 'holiday'),
    (4, 2, 'office');

insert into mail_aliases (mn_id, alias) values
    (1, 'orders'),
    (2, 'help'),
    (4, 'desk');

insert into misc (param, val) values
    ('admin_email',  'admin@host.test'),
    ('FullHostName', 'host.test');

insert into mail_resp (id, mn_id, keystr, key_where, text, resp_on, ans_freq, mem_limit, subject,
                       reply_to, charset, content_type) values
    -- sales: every mail; price list attached, one file of the rule is missing, copy to colleagues
    (1, 1, '', 'no', 'Thank you for your enquiry. Our price list is attached.', 'true', '10', '1000',
     'Your enquiry <request_subject>', 'sales-team@example.com', 'UTF-8', 'text/plain'),
    -- sales: orders by subject, in Russian and KOI8-R
    (2, 1, 'заказ', 'subj', 'Ваш заказ принят.', 'true', '10', '1000', '', '', 'koi8-r',
     'text/plain'),
    -- sales: a word in the body; customer@client.example has had its answer today
    (3, 1, 'price', 'body', '<p>See our <a href="https://example.com/">catalogue</a>.</p>', 'true',
     '1', '1000', 'Catalogue', '', 'UTF-8', 'text/html'),
    -- sales: switched off
    (4, 1, '', 'no', 'Never sent.', 'false', '10', '1000', '', '', 'UTF-8', 'text/plain'),
    -- support: everything left to the defaults, which leave it switched off
    (5, 2, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL),
    -- support: once a day
    (6, 2, '', 'no', 'We have opened a ticket for you.', 'true', '1', '2', NULL, NULL, NULL, NULL),
    -- holiday
    (7, 3, '', 'no', 'I am away until Monday.', 'true', '1', '1000', 'Away: <request_subject>', '',
     'UTF-8', 'text/plain'),
    -- office of the second client
    (8, 4, 'Grüße', 'subj', 'Schöne Grüße zurück!', 'true', '10', '1000', '', '', 'iso-8859-1',
     'text/plain');

insert into resp_forward (rn_id, address) values
    (1, 'colleague@example.com'),
    (1, NULL),
    (1, 'archive@example.org');

insert into resp_attach (rn_id, filename) values
    (1, 'price list.txt'),
    (1, ' terms.pdf '),
    (1, NULL),
    (1, ''),
    (8, 'Grußkarte.txt');

insert into resp_freq (rn_id, email, num) values
    (3, 'customer@client.example', 1);

-- With resp_schedule.sql: holiday answers for two weeks, each sender once in seven days.
-- insert into resp_schedule (rn_id, begins, ends, days) values
--     (7, '2026-12-21 00:00:00', '2027-01-04 00:00:00', 7);
