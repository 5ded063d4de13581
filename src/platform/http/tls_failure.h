#pragma once

#include <QString>

namespace rehome::http {

struct TlsFailure {
    QString problem;
    QString remedy;
};

/// What it means that no TLS connection to a host was made, by what libcurl and OpenSSL say of it.
TlsFailure tlsFailure(const QString& said, const QString& host);

} // namespace rehome::http
