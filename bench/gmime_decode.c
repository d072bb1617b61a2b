/* The reference of `script/bench big`: GMime parses the mail on standard input and decodes the text
 * that the autoresponder searches, to UTF-8. Prints nothing; status 1 when there is no such text or
 * it is not as long as the argument says. */
#include <gmime/gmime.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* The message's text, or the first text among its direct parts. */
static GMimeObject* find_text(GMimeObject* part) {
    if (!GMIME_IS_MULTIPART(part))
        return part;
    GMimeMultipart* const multipart = (GMimeMultipart*)part;
    for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
        GMimeObject* const child = g_mime_multipart_get_part(multipart, i);
        if (GMIME_IS_TEXT_PART(child))
            return child;
    }
    return NULL;
}

int main(int argc, char** argv) {
    g_mime_init();
    GMimeStream* const input = g_mime_stream_fs_new(STDIN_FILENO);
    GMimeParser* const parser = g_mime_parser_new_with_stream(input);
    GMimeMessage* const message = g_mime_parser_construct_message(parser, NULL);
    GMimeObject* const text =
        message == NULL ? NULL : find_text(g_mime_message_get_mime_part(message));
    if (text == NULL || !GMIME_IS_TEXT_PART(text))
        return 1;
    char* const body = g_mime_text_part_get_text((GMimeTextPart*)text);
    if (body == NULL || argc != 2 || strlen(body) != strtoul(argv[1], NULL, 10)) {
        fprintf(stderr, "gmime_decode: %zu bytes\n", body == NULL ? 0 : strlen(body));
        return 1;
    }
    g_free(body);
    g_object_unref(message);
    g_object_unref(parser);
    g_object_unref(input);
    return 0;
}
