#ifndef TESTS_MAIL_MAILSUPPORT_H
#define TESTS_MAIL_MAILSUPPORT_H

#include <ostream>

#include "contentcoding/mailbox.hpp"
#include "contentcoding/parameter.hpp"
#include "tests/TestSupport.h"

// Shared by the tests of mail: how faults, mailboxes and parameters are printed.

namespace contentcoding {

inline void PrintTo(const Error& error, std::ostream* out) {
    *out << error.offset << ": " << error.message();
}

namespace mailbox {

inline void PrintTo(const Mailbox& mailbox, std::ostream* out) {
    *out << '[' << mailbox.name << "] <" << mailbox.address << "> " << mailbox.group;
}

}  // namespace mailbox

namespace parameter {

inline void PrintTo(const Parameter& parameter, std::ostream* out) {
    *out << parameter.name << '=' << parameter.value;
}

}  // namespace parameter
}  // namespace contentcoding

#endif
