#pragma once

#include <QByteArray>
#include <QString>

#include <exception>

namespace rehome {

/// The one failure type: a description that a person can act on, naming what was tried, on what
/// object, and where there is one the remedy.
class Error : public std::exception {
public:
    explicit Error(const QString& description)
        : m_description(description), m_utf8(description.toUtf8()) {}

    const QString& description() const noexcept { return m_description; }
    const char* what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_description;
    QByteArray m_utf8;
};

/// The description of any exception; an Error's is taken as it stands.
QString describe(const std::exception& error);

} // namespace rehome
