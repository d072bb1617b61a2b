/* A converter of the C library's that means harm, put in the place of one of its own. What it does
 * is told by the first character that it is to convert. */
#include <fcntl.h>
#include <gconv.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

int gconv_init(struct __gconv_step* step);
int gconv(struct __gconv_step* step, struct __gconv_step_data* data, const unsigned char** in,
          const unsigned char* end, unsigned char** out, size_t* irreversible, int flush,
          int consume);

int gconv_init(struct __gconv_step* step) {
    step->__min_needed_from = step->__max_needed_from = 1;
    step->__min_needed_to = step->__max_needed_to = 4;
    return __GCONV_OK;
}

static void crash(void) {
    static char* volatile nowhere;
    *nowhere = 'x';
}

int gconv(struct __gconv_step* step, struct __gconv_step_data* data, const unsigned char** in,
          const unsigned char* end, unsigned char** out, size_t* irreversible, int flush,
          int consume) {
    (void)step, (void)data, (void)out, (void)irreversible, (void)flush, (void)consume;
    if (in == NULL || *in == end)
        return __GCONV_OK;
    switch (**in) {
    case 'p': /* the password file */
        _exit(open("/etc/ovk/.ovk.shadow", O_RDONLY) != -1 ? (crash(), 1) : 2);
    case 'm': /* the mail, to whoever reads the program's output */
        _exit(write(2, "lies\n", 5) == 5 ? (crash(), 1) : 2);
    case 's': /* sendmail, or any other program */
        execl("/usr/sbin/sendmail", "sendmail", NULL);
        _exit(2);
    case 'c':
        crash();
        break;
    default: /* nothing */
        *in = end;
    }
    return __GCONV_EMPTY_INPUT;
}
