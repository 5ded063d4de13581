#pragma once

#include <QByteArray>

namespace rehome::embedded {

/// The organisation that comes with the program, as LDIF: a company with three Exchange servers,
/// EX1 at hand, EX2 running, EX3 lost.
QByteArray shippedOrganisation();

} // namespace rehome::embedded
