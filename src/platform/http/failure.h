#pragma once

#include "platform/engine/mailbox_opener.h"
#include "platform/http/web_client.h"

namespace rehome::http {

/// Whose mailbox was asked for, and where.
struct Attempt {
    engine::Mailbox mailbox;
    QString host;
    QString url;
};

/// Where failed attempts become descriptions: what was asked of whom, what came of it, and the
/// remedy where there is one.
Error describeFailure(const Attempt& attempt, const QString& what, const QString& remedy = {});
Error describeNoAnswer(const Attempt& attempt, const NoAnswer& failure,
                       const HttpSettings& settings);
/// An answer whose status, in the head or for the folder, is none that opens a mailbox.
Error describeStatus(const Attempt& attempt, const Answer& answer, int status);

} // namespace rehome::http
