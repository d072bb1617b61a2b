// Address lists of header fields (RFC 5322 section 3.4 with the obsolete forms of section 4.4).
//
// A list is read one address at a time, so one of any length costs the memory of one address.
#pragma once

#include "mimelib/component.h"

#include <optional>

/// An element of an address list: a mailbox, or a group with its mailboxes, which are not looked
/// at. A group without ";" reaches to the end of the field. It keeps the field that it stands in.
class DwAddress {
public:
    /// Whether the address can be used: groups always, mailboxes by what they hold.
    bool IsValid() const { return group_ || !local_part_.empty(); }
    bool IsGroup() const { return group_; }
    bool IsMailbox() const { return !group_; }

    /// The element behind this one; none behind the last.
    std::optional<DwAddress> Next() const { return first_of(rest_, into_groups_); }

protected:
    /// The element that `text`, the rest of a field, begins with.
    static std::optional<DwAddress> first_of(const DwString& text, bool into_groups);

    bool group_ = false;
    DwString local_part_;
    DwString domain_;

private:
    friend class DwAddressList;

    DwString rest_;
    bool into_groups_ = false;
};

/// An address that is a mailbox. It is valid when it has a local part and a domain that both have
/// the form of one: neither then holds control characters, comments, or white space, "@" and other
/// specials outside quotes. Dots may stand anywhere in a local part and bytes above 127 count as
/// letters; a domain has no empty label but for a dot at its end. Of an invalid one nothing is
/// kept: both parts are empty.
class DwMailbox : public DwAddress {
public:
    /// `address` is a mailbox.
    explicit DwMailbox(const DwAddress& address) : DwAddress(address) {}

    /// Quoted where it needs to be, with backslashes where those need them.
    const DwString& LocalPart() const { return local_part_; }
    /// With the brackets of a domain literal.
    const DwString& Domain() const { return domain_; }

    /// The next mailbox of the list, groups passed over; none behind the last.
    std::optional<DwMailbox> Next() const { return first_mailbox(DwAddress::Next()); }

private:
    friend class DwMailboxList;

    static std::optional<DwMailbox> first_mailbox(std::optional<DwAddress> address);
};

/// The body of a field like Reply-To. Stray commas are passed over, semicolons separate as commas
/// do, a missing ">" is taken to stand before the next comma or the end of the field, and what
/// follows a ">" plays no part.
class DwAddressList : public DwMessageComponent {
public:
    explicit DwAddressList(const DwString& text) : DwMessageComponent(text) {}

    /// None when the list is empty. The mailboxes of groups are elements in the place of the groups
    /// where `into_groups` says so.
    std::optional<DwAddress> FirstAddress(bool into_groups = false) const {
        return DwAddress::first_of(AsString(), into_groups);
    }
};

/// The body of a field like From: an address list whose groups are passed over (RFC 6854).
class DwMailboxList : public DwMessageComponent {
public:
    explicit DwMailboxList(const DwString& text) : DwMessageComponent(text) {}

    /// None when the list has none.
    std::optional<DwMailbox> FirstMailbox() const {
        return DwMailbox::first_mailbox(DwAddressList(AsString()).FirstAddress());
    }
};
