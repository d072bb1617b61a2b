-- Mailboxes and rules behind the mail server: one rule a mailbox, each for another kind of reply.
insert into clients (id, login, pname, email) values (1, 'clara', 'Clara', 'clara@client.test');
insert into domains (id, cl_id, name) values (1, 1, 'example.com'), (2, 1, 'bücher.example'),
    (3, 1, 'example.org');
insert into domainaliases (dom_id, name, mail) values (2, 'xn--bcher-kva.example', 'true'),
    (1, 'alias.example', 'true');
insert into mail (id, dom_id, mail_name) values
    (1, 1, 'sales'), (2, 1, 'offers'), (3, 1, 'orders'), (4, 1, 'circle'), (5, 2, 'sales'),
    (6, 1, 'storm'), (7, 1, 'info'), (8, 3, 'info'), (9, 1, 'quiet'), (10, 1, 'big'), (11, 1, 'near'), (13, 1, 'modern');
insert into mail_aliases (mn_id, alias) values (1, 'office'), (1, 'sales:path=evil'),
    (6, 'storm-a'), (6, 'storm-b'), (6, 'storm-c'), (6, 'storm.d');
insert into misc (param, val) values ('admin_email', 'sales@example.com');

insert into mail_resp (id, mn_id, keystr, key_where, text, resp_on, ans_freq, mem_limit, subject,
                       reply_to, charset, content_type) values
    (1, 1, '', 'no', 'Danke – schöne Grüße!\n.. to all\nFrom us', 'true', '10', '1000', '', '', 'UTF-8',
     'text/plain'),
    (2, 2, 'Preis', 'body', '<p>Unser Angebot für Sie.</p>', 'true', '10', '1000',
     'Angebot: <request_subject>', 'sales@example.com', 'UTF-8', 'text/html'),
    (3, 3, 'заказ', 'subj', 'Ваш заказ принят.', 'true', '10', '1000', '', '', 'koi8-r',
     'text/plain'),
    (5, 5, '', 'no', 'Bücher, Bücher!', 'true', '10', '1000', '', '', 'iso-8859-1', 'text/plain');
insert into mail_resp (id, mn_id, text, resp_on) values
    (4, 4, 'Round and round.', 'true'), (6, 6, 'Ever on.', 'true'), (7, 7, 'Here.', 'true'),
    (8, 8, 'There.', 'true'), (9, 9, 'Never.', 'false'), (10, 10, 'All of it.', 'true'),
    (11, 11, 'All of it.', 'true');
insert into mail_resp (id, mn_id, keystr, key_where, text, resp_on, charset) values
    (13, 13, '😀', 'body', '😀 danke\n.\nEnd', 'true', 'UTF-8'),
    (14, 13, '漢字', 'body', 'お返事\n.\nEnd', 'true', 'iso-2022-jp'),
    (15, 13, 'late order', 'body', 'Seen.', 'true', 'UTF-8');

insert into resp_forward (rn_id, address) values
    (1, 'colleague@client.test'),
    (2, 'colleague@client.test'), (2, 'archive@client.test'),
    (3, 'colleague@client.test'),
    (4, 'circle@example.com'), (6, 'storm-a@example.com'), (6, 'storm-b@alias.example'),
    (6, 'storm-c@example.com'), (6, 'storm.d+x@example.com'), (7, 'info@example.org'),
    (5, 'colleague@client.test'), (14, 'colleague@client.test');

insert into resp_attach (rn_id, filename) values
    (2, 'Preisliste für Bücher.bin'), (2, 'terms.pdf'), (2, 'empty'),
    (10, 'file'), (11, 'file'), (14, '見積書.bin');

update mail_resp set ans_freq = '2000000000' where id in (4, 6);
