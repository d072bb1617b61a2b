// The signs by which automatic mail is told: what mailing lists, other responders, bounces and
// their like send. All of it pure: text in, a short reason out.
#pragma once

#include <string>
#include <string_view>

/// Why the field, whose name is in lower case, says that no person wrote this mail, or that it is
/// spam: a short text that names the field and holds nothing of its content but known words (RFC
/// 3834, RFC 2369, RFC 2919). Empty for an ordinary field.
std::string automatic_sign(std::string_view name, std::string_view body);

/// The same for a bounce: a null Return-Path, or a report (RFC 5321 section 4.5.5, RFC 3462).
std::string bounce_sign(std::string_view name, std::string_view body);

/// Whether `reason` is one that these give.
bool is_automatic_sign(std::string_view reason);
bool is_bounce_sign(std::string_view reason);

/// The same as automatic_sign for a mailer daemon's name in the sender, in any case.
std::string daemon_sign(const std::string& sender);

/// The same for the sender's local part, by which many programs and lists can be told.
std::string sender_sign(const std::string& sender);

/// The local part of an address in lower case, without the quotes that it may stand in.
std::string plain_local_part(const std::string& address);
