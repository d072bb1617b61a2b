// A start by way of a set-uid or set-gid bit: the program has rights that whoever started it lacks.
#pragma once

/// After such a start, and only then: lays down what execve hands over from the caller and what
/// would bear on this process or on the sendmail that it starts, as far as its rights go. Of the
/// environment nothing stays but RESP_RECIPIENT. docs/SECURITY.md lists the rest.
void distrust_caller_of_set_uid_start();
