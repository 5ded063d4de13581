#pragma once

#include "platform/embedded/organisation.h"

namespace rehome::embedded {

/// An organisation from LDIF. `source` names the text in messages. Throws Error with the line of
/// what cannot be taken: a broken record, a second one of the same name or GUID, a name that is not
/// UTF-8, a wrong value of a rehearsal's attribute; also where the root object or its naming
/// contexts are missing.
Organisation readOrganisation(const QByteArray& ldif, const QString& source);

/// Throws Error where the file cannot be read, and as readOrganisation does.
Organisation readOrganisationFile(const QString& path);

} // namespace rehome::embedded
