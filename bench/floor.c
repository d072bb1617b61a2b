/* The floor that `script/bench start` measures against: what one answered mail costs when a plain
 * C program, linked to the client library in the ordinary way, does the same temporary files, the
 * panel's statements and the same spawn, and parses, checks and guards nothing.
 *
 * Reads a mail on standard input; SENDER and RECIPIENT (box@domain) come as arguments, the ids of
 * mailbox and rule as well. */
#include <fcntl.h>
#include <mysql.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

static MYSQL* connection;

static void run(const char* statement) {
    if (mysql_real_query(connection, statement, strlen(statement)) != 0) {
        fprintf(stderr, "floor: %s: %s\n", statement, mysql_error(connection));
        exit(1);
    }
    MYSQL_RES* result = mysql_store_result(connection);
    if (result != NULL) {
        while (mysql_fetch_row(result) != NULL)
            continue;
        mysql_free_result(result);
    }
}

static void copy_input(char* name) {
    char block[65536];
    ssize_t count;
    int fd = mkstemp(name);
    while ((count = read(0, block, sizeof block)) > 0)
        if (write(fd, block, (size_t)count) != count)
            exit(1);
    close(fd);
}

static void connect_to_panel(void) {
    char password[100] = "";
    FILE* file = fopen("/etc/ovk/.ovk.shadow", "r");
    if (file == NULL || fgets(password, sizeof password, file) == NULL)
        exit(1);
    fclose(file);
    password[strcspn(password, "\n")] = '\0';
    connection = mysql_init(NULL);
    if (!mysql_real_connect(connection, "localhost", "admin", password, "ovk", 0, NULL, 0)) {
        fprintf(stderr, "floor: %s\n", mysql_error(connection));
        exit(1);
    }
    run("SET NAMES utf8");
}

static void write_reply(char* name, const char* sender, const char* recipient) {
    int fd = mkstemp(name);
    dprintf(fd,
            "From: %s\nTo: %s\nMIME-Version: 1.0\nSubject: Re: Hello\n"
            "Content-Type: text/plain; charset=\"UTF-8\"\n"
            "Content-Transfer-Encoding: 8bit\nContent-Disposition: inline\n\n"
            "Thank you for your mail.\n\n\n",
            recipient, sender);
    close(fd);
}

static void send_file(const char* name, char* sender, char* recipient) {
    char* const arguments[] = {"/usr/sbin/sendmail", "-f", recipient, sender, NULL};
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(name, O_RDONLY), 0);
        execv(arguments[0], arguments);
        _exit(255);
    }
    waitpid(child, NULL, 0);
}

int main(int argc, char** argv) {
    char mail_file[] = "/tmp/ovk-autoresponder-XXXXXX";
    char reply_file[] = "/tmp/ovk-response-uu-XXXXXX";
    char statement[1024];
    if (argc != 5) {
        fputs("usage: floor SENDER RECIPIENT MAILBOX-ID RULE-ID\n", stderr);
        return 2;
    }
    char* const sender = argv[1];
    char* const recipient = argv[2];
    const char* const domain = strchr(recipient, '@') + 1;
    copy_input(mail_file);
    connect_to_panel();

#define RUN(...) (snprintf(statement, sizeof statement, __VA_ARGS__), run(statement))
    RUN("select m.id, m.mail_name, d.name from mail m, domains d where m.dom_id=d.id and"
        " d.name='%s' and m.mail_name='%.*s'",
        domain, (int)(domain - 1 - recipient), recipient);
    RUN("select id, keystr, key_where, text, resp_on, ans_freq, mem_limit, subject, reply_to,"
        " charset, content_type from mail_resp where mn_id=%s",
        argv[3]);
    RUN("delete from resp_freq where rn_id=%s and (TO_DAYS(NOW())-TO_DAYS(time_resp))>0", argv[4]);
    RUN("select COUNT(*) from resp_freq where rn_id=%s", argv[4]);
    RUN("select num from resp_freq where rn_id=%s and email='%s'", argv[4], sender);
    RUN("update resp_freq set num=1+1 where rn_id=%s and email='%s'", argv[4], sender);
    RUN("select address from resp_forward where rn_id=%s", argv[4]);
    RUN("select filename from resp_attach where rn_id=%s", argv[4]);
    write_reply(reply_file, sender, recipient);
    send_file(reply_file, sender, recipient);
    mysql_close(connection);
    unlink(reply_file);
    unlink(mail_file);
    return 0;
}
