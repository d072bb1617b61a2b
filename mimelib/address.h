// Address lists of header fields (RFC 5322 section 3.4 with the obsolete forms of section 4.4).
//
// A list is read one address at a time: asking for the next one gives up the one before it. So a
// list of any length costs the memory of one address.
#pragma once

#include "mimelib/component.h"

#include <cstddef>
#include <memory>

class DwAddressList;

/// An element of an address list, valid until the next one is asked for.
class DwAddress {
public:
    virtual ~DwAddress() = default;

    /// Whether the address can be used: groups always, mailboxes by what they hold.
    bool IsValid() const { return valid_; }
    virtual bool IsGroup() const = 0;
    bool IsMailbox() const { return !IsGroup(); }

    /// The next element of the list, null at its end. Gives this one up.
    const DwAddress* Next() const;

protected:
    DwAddress(const DwAddressList& list, bool valid) : list_(list), valid_(valid) {}

private:
    const DwAddressList& list_;
    bool valid_;
};

/// A mailbox. It is valid when it has a local part and a domain that both have the form of one:
/// neither then holds control characters, comments, or white space, "@" and other specials outside
/// quotes. Dots may stand anywhere in a local part and bytes above 127 count as letters; a domain
/// has no empty label but for a dot at its end. Of an invalid one nothing is kept: both parts are
/// empty.
class DwMailbox : public DwAddress {
public:
    /// An invalid mailbox.
    explicit DwMailbox(const DwAddressList& list) : DwAddress(list, false) {}
    /// A valid one.
    DwMailbox(const DwAddressList& list, const DwString& local_part, const DwString& domain)
        : DwAddress(list, true), local_part_(local_part), domain_(domain) {}

    bool IsGroup() const override { return false; }

    /// Quoted where it needs to be, with backslashes where those need them.
    const DwString& LocalPart() const { return local_part_; }
    /// With the brackets of a domain literal.
    const DwString& Domain() const { return domain_; }

    /// The next element that is a mailbox, null when there is none. Gives this one up.
    const DwMailbox* NextMailbox() const;

private:
    DwString local_part_;
    DwString domain_;
};

/// A group with its mailboxes, which are not looked at. One without ";" reaches to the end of the
/// field.
class DwGroup : public DwAddress {
public:
    explicit DwGroup(const DwAddressList& list) : DwAddress(list, true) {}

    bool IsGroup() const override { return true; }
};

/// The body of a field like Reply-To. Stray commas are passed over, semicolons separate as commas
/// do, a missing ">" is taken to stand before the next comma or the end of the field, and what
/// follows a ">" plays no part.
class DwAddressList : public DwMessageComponent {
public:
    explicit DwAddressList(const DwString& text) : DwMessageComponent(text) {}

    /// The first element, null in an empty list. Starts the list anew.
    const DwAddress* FirstAddress() const;

private:
    friend class DwAddress;

    const DwAddress* advance() const;

    mutable std::unique_ptr<DwAddress> current_;
    mutable std::size_t position_ = 0;
};

/// The body of a field like From: an address list whose groups are passed over (RFC 6854).
class DwMailboxList : public DwMessageComponent {
public:
    explicit DwMailboxList(const DwString& text) : DwMessageComponent(text), addresses_(text) {}

    /// The first mailbox, valid or not; null when there is none. Starts the list anew.
    const DwMailbox* FirstMailbox() const;

private:
    DwAddressList addresses_;
};
