-- Whether a mail is for the program: the mark of the mailbox that the program finds for its address, where that
-- mailbox has a rule that is on, else nothing. autoresponder-setup writes it into the mail server's settings,
-- with what the server puts in for LOCAL (the local part) and DOMAINS (the domain, in the forms that the panel
-- may have). The lookups are the program's, in its order. The server's collation takes more for equal than a
-- mail server should, so the name that is found has to be the address's but for the case of ASCII letters:
-- charset tis620 has no others. (The domain is one of the mail server's own already.) The mark is the mailbox's
-- address with AT for "@", and in hexadecimal digits where a mail server might take it for something else.
select case when concat(mailbox, '@', domain) regexp '^[-.]|[.]@|@.*@|[^a-zA-Z0-9@._-]'
    then concat(hex(concat(mailbox, '@', domain)), 'AThex')
    else lower(concat(mailbox, 'AT', domain)) end
  from (
    select m.id, m.mail_name as mailbox, d.name as domain, m.mail_name as name, 1 as turn
      from domains d join mail m on m.dom_id = d.id
      where d.name in (DOMAINS) and m.mail_name = 'LOCAL'
    union all select m.id, m.mail_name, d.name, a.alias, 2
      from domains d join mail m on m.dom_id = d.id join mail_aliases a on a.mn_id = m.id
      where d.name in (DOMAINS) and a.alias = 'LOCAL'
    union all select m.id, m.mail_name, d.name, m.mail_name, 3
      from domainaliases o join domains d on d.id = o.dom_id join mail m on m.dom_id = d.id
      where o.name in (DOMAINS) and o.mail = 'true' and m.mail_name = 'LOCAL'
    union all select m.id, m.mail_name, d.name, a.alias, 4
      from domainaliases o join domains d on d.id = o.dom_id join mail m on m.dom_id = d.id
        join mail_aliases a on a.mn_id = m.id
      where o.name in (DOMAINS) and o.mail = 'true' and a.alias = 'LOCAL'
    order by turn limit 1) found
  where cast(lower(convert(cast(name as binary) using tis620)) as binary)
      = cast(lower(convert(cast('LOCAL' as binary) using tis620)) as binary)
    and exists (select 1 from mail_resp r where r.mn_id = found.id and cast(r.resp_on as binary) <> 'false')
