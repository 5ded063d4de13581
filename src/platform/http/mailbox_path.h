#pragma once

#include "platform/engine/mailbox_opener.h"
#include "platform/http/failure.h"

namespace rehome::http {

/// What a server calls a mailbox in a path. It joins a name without "@" with the SMTP domain of its
/// virtual directory, and looks for the user who has that address: so the local part of the user's
/// address in `domain`, or the whole address if the user has none there, or the domain is unknown
/// (empty). Any other local part may be somebody else's.
QString pathName(const engine::Mailbox& mailbox, const QString& domain);

QString mailboxUrl(const QString& host, const QString& name);

/// Asks for the locations of three folders (PROPFIND). A new mailbox may hold some of them only.
extern const QByteArray FolderQuestion;

/// The location of a folder that an answer holds. Throws Error if it holds none of this mailbox.
QString folderIn(const Attempt& attempt, const Answer& answer);

} // namespace rehome::http
