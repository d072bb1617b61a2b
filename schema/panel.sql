-- The panel's tables that the autoresponder reads and writes. Loads into MariaDB 10.11 and MySQL 8.

create table clients (
    id     int unsigned not null auto_increment primary key,
    login  varchar(64)  not null,
    pname  varchar(255) default null,
    email  varchar(255) default null,
    unique key login (login)
) engine=InnoDB default charset=utf8mb4;

create table domains (
    id     int unsigned not null auto_increment primary key,
    cl_id  int unsigned not null,
    name   varchar(190) not null,
    unique key name (name),
    key cl_id (cl_id)
) engine=InnoDB default charset=utf8mb4;

-- Other names of a domain. Those with mail 'true' serve its mailboxes as well.
create table domainaliases (
    id      int unsigned not null auto_increment primary key,
    dom_id  int unsigned not null,
    name    varchar(190) not null,
    mail    enum('true', 'false') not null default 'true',
    unique key name (name),
    key dom_id (dom_id)
) engine=InnoDB default charset=utf8mb4;

create table mail (
    id         int unsigned not null auto_increment primary key,
    dom_id     int unsigned not null,
    mail_name  varchar(190) not null,
    unique key dom_id_name (dom_id, mail_name)
) engine=InnoDB default charset=utf8mb4;

create table mail_aliases (
    id     int unsigned not null auto_increment primary key,
    mn_id  int unsigned not null,
    alias  varchar(190) not null,
    key alias (alias),
    key mn_id (mn_id)
) engine=InnoDB default charset=utf8mb4;

-- Responder rules of a mailbox. NULL stands for the default of the autoresponder.
create table mail_resp (
    id            int unsigned not null auto_increment primary key,
    mn_id         int unsigned not null,
    keystr        varchar(255) default null,
    key_where     varchar(16)  default null,
    text          mediumtext   default null,
    resp_on       varchar(16)  default null,
    ans_freq      varchar(16)  default null,
    mem_limit     varchar(16)  default null,
    subject       text         default null,
    reply_to      varchar(255) default null,
    charset       varchar(64)  default null,
    content_type  varchar(64)  default null,
    key mn_id (mn_id)
) engine=InnoDB default charset=utf8mb4;

create table resp_forward (
    id       int unsigned not null auto_increment primary key,
    rn_id    int unsigned not null,
    address  varchar(255) default null,
    key rn_id (rn_id)
) engine=InnoDB default charset=utf8mb4;

create table resp_attach (
    id        int unsigned not null auto_increment primary key,
    rn_id     int unsigned not null,
    filename  varchar(255) default null,
    key rn_id (rn_id)
) engine=InnoDB default charset=utf8mb4;

-- Whom a rule has answered today. The time is that of the first answer: it says whose entry is the
-- oldest, and which day the count belongs to. Rule and sender are the primary key, so that of two first
-- answers one fails and is thought over, also where they were given on two nodes of a cluster; and no
-- other key is searched, so that all statements lock a rule's rows in one order. Senders are bytes: what
-- a stranger puts into an address need not be text in any charset. resp_freq.sql brings a table with an
-- earlier layout to this one.
create table resp_freq (
    rn_id      int unsigned not null,
    email      varbinary(320) not null,
    num        int          default null,
    time_resp  datetime     not null default current_timestamp,
    primary key (rn_id, email)
) engine=InnoDB default charset=utf8mb4;

-- Server-wide parameters.
create table misc (
    param  varchar(190) not null primary key,
    val    mediumtext   default null
) engine=InnoDB default charset=utf8mb4;

-- Parameters of domains.
create table dom_param (
    dom_id  int unsigned not null,
    param   varchar(190) not null,
    val     mediumtext   default null,
    primary key (dom_id, param)
) engine=InnoDB default charset=utf8mb4;

-- Parameters of other objects.
create table Parameters (
    id         int unsigned not null,
    parameter  varchar(190) not null,
    value      varchar(255) not null default '',
    key id_parameter (id, parameter)
) engine=InnoDB default charset=utf8mb4;
