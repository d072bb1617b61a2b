// Address lists of header fields (RFC 5322 section 3.4 with the obsolete forms of section 4.4).
//
// A list is read one address at a time, so one of any length costs the memory of one address.
#pragma once

#include "mimelib/component.h"
#include "mimelib/field_text.h"

/// A mailbox. It is valid when it has a local part and a domain that both have the form of one:
/// neither then holds control characters, comments, or white space, "@" and other specials outside
/// quotes. Dots may stand anywhere in a local part and bytes above 127 count as letters; a domain
/// has no empty label but for a dot at its end. Of an invalid one nothing is kept: both parts are
/// empty.
class DwMailbox {
public:
    /// An invalid mailbox.
    DwMailbox() = default;
    /// A valid one.
    DwMailbox(const DwString& local_part, const DwString& domain)
        : valid_(true), local_part_(local_part), domain_(domain) {}

    bool IsValid() const { return valid_; }
    /// Quoted where it needs to be, with backslashes where those need them.
    const DwString& LocalPart() const { return local_part_; }
    /// With the brackets of a domain literal.
    const DwString& Domain() const { return domain_; }

private:
    bool valid_ = false;
    DwString local_part_;
    DwString domain_;
};

/// An element of an address list: a mailbox, or a group with its mailboxes, which are not looked
/// at. A group without ";" reaches to the end of the field.
class DwAddress {
public:
    /// A group.
    DwAddress() = default;
    explicit DwAddress(DwMailbox mailbox) : group_(false), mailbox_(std::move(mailbox)) {}

    /// Whether the address can be used: groups always, mailboxes by what they hold.
    bool IsValid() const { return group_ || mailbox_.IsValid(); }
    bool IsMailbox() const { return !group_; }
    /// The mailbox; an invalid one for a group.
    const DwMailbox& Mailbox() const { return mailbox_; }

private:
    bool group_ = true;
    DwMailbox mailbox_;
};

/// The body of a field like Reply-To. Stray commas are passed over, semicolons separate as commas
/// do, a missing ">" is taken to stand before the next comma or the end of the field, and what
/// follows a ">" plays no part.
class DwAddressList : public DwMessageComponent {
public:
    explicit DwAddressList(const DwString& text) : DwMessageComponent(text) {}
};

/// The body of a field like From: an address list whose groups are passed over (RFC 6854).
class DwMailboxList : public DwMessageComponent {
public:
    explicit DwMailboxList(const DwString& text) : DwMessageComponent(text) {}
};

/// Walks over the elements of either list.
class DwAddressReader {
public:
    /// `list` must outlive the reader. The mailboxes of its groups are elements as well where
    /// `into_groups` says so.
    explicit DwAddressReader(const DwAddressList& list, bool into_groups = false)
        : field_(list.AsString().view()), into_groups_(into_groups) {}
    explicit DwAddressReader(const DwMailboxList& list) : field_(list.AsString().view()) {}

    /// Moves to the next element; false behind the last.
    bool Next();

    /// The element, until the next call of Next().
    const DwAddress& Address() const { return address_; }

private:
    mimelib::Scanner field_;
    bool into_groups_ = false;
    DwAddress address_;
};
