-- Mailboxes and rules behind the mail server: one rule a mailbox, each for another kind of reply.
insert into clients (id, login, pname, email) values (1, 'clara', 'Clara', 'clara@client.test');
insert into domains (id, cl_id, name) values (1, 1, 'example.com'), (2, 1, 'bücher.example');
insert into domainaliases (dom_id, name, mail) values (2, 'xn--bcher-kva.example', 'true');
insert into mail (id, dom_id, mail_name) values
    (1, 1, 'sales'), (2, 1, 'offers'), (3, 1, 'orders'), (4, 1, 'loop'), (5, 2, 'sales');
insert into misc (param, val) values ('admin_email', 'sales@example.com');

insert into mail_resp (id, mn_id, keystr, key_where, text, resp_on, ans_freq, mem_limit, subject,
                       reply_to, charset, content_type) values
    (1, 1, '', 'no', 'Danke – schöne Grüße!\n.. to all\nFrom us', 'true', '10', '1000', '', '', 'UTF-8',
     'text/plain'),
    (2, 2, 'Preis', 'body', '<p>Unser Angebot für Sie.</p>', 'true', '10', '1000',
     'Angebot: <request_subject>', 'sales@example.com', 'UTF-8', 'text/html'),
    (3, 3, 'заказ', 'subj', 'Ваш заказ принят.', 'true', '10', '1000', '', '', 'koi8-r',
     'text/plain'),
    (4, 4, '', 'no', 'Round and round.', 'true', '10', '1000', '', '', 'UTF-8', 'text/plain'),
    (5, 5, '', 'no', 'Bücher, Bücher!', 'true', '10', '1000', '', '', 'iso-8859-1', 'text/plain');

insert into resp_forward (rn_id, address) values
    (1, 'colleague@client.test'),
    (2, 'colleague@client.test'), (2, 'archive@client.test'),
    (3, 'colleague@client.test'),
    (4, 'loop@example.com'),
    (5, 'colleague@client.test');

insert into resp_attach (rn_id, filename) values
    (2, 'Preisliste für Bücher.bin'), (2, 'terms.pdf'), (2, 'empty');
