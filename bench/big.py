"""big.py BUILD-FOLDER [PAIRS [PROGRAM]]: mails and attachments of the size that a mail system lets through.

The program does all that it does for a mail: the copy, decoding, a search of the text, the database,
a reply. GMime only parses and decodes. For attachments, coreutils' base64 encodes the same file to a
file that sendmail then reads, as the program does; that is all that it does."""

import base64
import os
import random
import shutil
import textwrap

from common.bench import MAILBOX, PROGRAM, Bench, Figures, arguments, tables
from support.case import quote

MIB = 1 << 20
TRIGGER = "a word at the very end"
HEADERS = f"From: Joe <joe@client.example>\nTo: {MAILBOX}\nSubject: Hello\nMIME-Version: 1.0\n"
BASE64_AND_SEND = ("base64 --wrap=60 /bench/attachment > /tmp/encoded &&"
                   " /usr/sbin/sendmail < /tmp/encoded && rm /tmp/encoded")


def text(size: int) -> bytes:
    """About `size` bytes of lines of words, TRIGGER last."""
    words = random.Random(1)
    vocabulary = ["".join(words.choices("abcdefghijklmnoprstuvwy", k=words.randint(2, 9)))
                  for _ in range(500)]
    paragraph = "\n".join(textwrap.wrap(" ".join(words.choices(vocabulary, k=20000)), 72))
    return (paragraph + "\n").encode() * (size // len(paragraph)) + TRIGGER.encode() + b"\n"


def base64_mail(body: bytes) -> bytes:
    return (HEADERS + "Content-Type: text/plain; charset=utf-8\n"
            "Content-Transfer-Encoding: base64\n\n").encode() + base64.encodebytes(body)


def multipart_mail(body: bytes, attachment: bytes) -> bytes:
    """The text in quoted-printable's plainest form, the rest of the mail an attachment."""
    return ((HEADERS + 'Content-Type: multipart/mixed; boundary="=_limit"\n\n--=_limit\n'
             "Content-Type: text/plain; charset=utf-8\n"
             "Content-Transfer-Encoding: quoted-printable\n\n").encode() + body
            + b"\n--=_limit\nContent-Type: application/octet-stream\n"
            b"Content-Transfer-Encoding: base64\n\n" + base64.encodebytes(attachment)
            + b"--=_limit--\n")


def against_gmime(bench: Bench, mail: bytes, length: int, pairs: int) -> list[Figures]:
    bench.empty_panel()
    bench.database.execute("insert into mail_resp (id, mn_id, keystr, key_where, text, resp_on,"
                           f" ans_freq) values (1, 1, {quote(TRIGGER)}, 'body', 'Thanks.', 'true',"
                           " '1000000')")
    (bench.folder / "mail").write_bytes(mail)
    gmime = ["/program/gmime_decode", str(length)]
    figures = bench.turns("mail", pairs, [PROGRAM], gmime, *bench.others)
    rows = bench.database.rows("select num from resp_freq")
    assert rows and int(rows[0][0] or 0) >= pairs, "the trigger was not found"
    return figures


def against_base64(bench: Bench, pairs: int) -> list[Figures]:
    bench.empty_panel()
    bench.database.execute(
        "insert into mail_resp (id, mn_id, text, resp_on, ans_freq) values"
        " (1, 1, 'Thanks.', 'true', '1000000');"
        "insert into resp_attach (rn_id, filename) values (1, 'attachment')")
    attachment = bench.folder / "attachment"
    attachment.write_bytes(os.urandom(20 * MIB))
    shutil.copy(attachment, bench.box.attachments(MAILBOX))
    (bench.folder / "mail").write_text(HEADERS + "\nHow are you?\n")
    return bench.turns("mail", pairs, [PROGRAM], ["/bin/sh", "-c", BASE64_AND_SEND], *bench.others)


def mails_against_gmime(bench: Bench, pairs: int) -> None:
    body = text(25 * MIB * 57 // 77)  # 77 bytes of Base64 for 57
    print("25 MB mail in base64")
    tables(against_gmime(bench, base64_mail(body), len(body), pairs), "GMime", {"CPU": 0.7}, "Base64 mail")
    body = text(5 * MIB)
    print("25 MB multipart")
    mail = multipart_mail(body, os.urandom(20 * MIB * 57 // 77))
    tables(against_gmime(bench, mail, len(body), pairs), "GMime", {"CPU": 0.7}, "multipart")


def main() -> None:
    build, pairs = arguments(20)
    gmime = build / "bench/gmime_decode"
    with Bench(build, **{gmime.name: gmime} if gmime.exists() else {}) as bench:
        print(f"big: medians of {pairs} pairs")
        if gmime.exists():
            mails_against_gmime(bench, pairs)
        else:
            print("not compared with GMime: install libgmime-3.0-dev, and run this again")
        print("20 MB attachment in the reply")
        tables(against_base64(bench, pairs), "base64", {"wall": 1.0, "CPU": 1.0}, "attachment")


if __name__ == "__main__":
    main()
