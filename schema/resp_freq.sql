-- Gives table resp_freq the primary key of panel.sql on a host that has rows in it already, in use or
-- not. Where several rows stand for one rule and sender, the first stays: those that came after it were
-- first answers that went out at the same moment, one each, and later answers were counted in all of
-- them. The last statement fails with "Duplicate entry" when two more came in since; then the table is
-- as before, and the file is to be run once more.
--
-- For the layout with a column `id` that panel.sql had before 2026-11-25. A table of a panel's own gets
-- that column first:
--     alter table resp_freq add id bigint unsigned not null auto_increment, add key id (id);
-- and loses a primary key or other key that begins with rn_id, if it has one, in the last statement.

update resp_freq entry
    join (select min(id) as id, coalesce(max(num), 0) + count(*) - 1 as num, min(time_resp) as time_resp
              from resp_freq group by rn_id, email having count(*) > 1) merged
    on merged.id = entry.id
    set entry.num = merged.num, entry.time_resp = merged.time_resp;

delete twin from resp_freq twin
    join resp_freq entry on entry.rn_id = twin.rn_id and entry.email = twin.email and entry.id < twin.id;

alter table resp_freq drop primary key, drop key id, drop column id, add primary key (rn_id, email);
