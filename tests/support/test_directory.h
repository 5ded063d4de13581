#pragma once

#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <csignal>
#include <map>
#include <stdexcept>

namespace rehome::test {

/// The Active Directory that samba_directory.py has started for this test run.
class TestDirectory {
public:
    /// Throws where there is none, and where there is one makes this process its client, as the
    /// administrator. To be called before the client library is first used.
    TestDirectory() {
        QFile file(m_place + QStringLiteral("/env"));
        if (m_place.isEmpty() || !file.open(QIODevice::ReadOnly))
            throw std::runtime_error("REHOME_TEST_DIRECTORY names no test directory: run ctest");
        for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n'))
            m_settings[line.section(u'=', 0, 0)] = line.section(u'=', 1);
        qputenv("KRB5_CONFIG", value("KRB5_CONFIG").toUtf8());
        qputenv("LDAPURI", value("LDAPURI").toUtf8());
        qputenv("LDAPTLS_CACERT", value("CA").toUtf8());
        useTicket("ADMIN_CACHE");
    }

    QString value(const char* name) const { return m_settings.at(QString::fromLatin1(name)); }
    void useTicket(const char* name) const { qputenv("KRB5CCNAME", value(name).toUtf8()); }
    /// Kills the server and starts it again.
    void restart() const {
        if (QProcess::execute(
                QStringLiteral("/usr/bin/python3"),
                {QStringLiteral(REHOME_SAMBA_SCRIPT), QStringLiteral("restart"), m_place}) != 0)
            throw std::runtime_error("the server does not start again");
    }
    /// Changes the directory from outside, as LDIF says.
    void change(const QString& ldif) const {
        QProcess modify;
        modify.start(QStringLiteral("ldapmodify"),
                     {QStringLiteral("-QNY"), QStringLiteral("GSSAPI")});
        modify.write(ldif.toUtf8());
        modify.closeWriteChannel();
        if (!modify.waitForFinished() || modify.exitCode() != 0)
            throw std::runtime_error(modify.readAllStandardError().toStdString());
    }
    /// Sends the server a signal.
    void signal(int number) const {
        QFile file(value("PID_FILE"));
        if (!file.open(QIODevice::ReadOnly) || ::kill(file.readAll().toInt(), number) != 0)
            throw std::runtime_error("the server cannot be signalled");
    }

private:
    QString m_place = qEnvironmentVariable("REHOME_TEST_DIRECTORY");
    std::map<QString, QString> m_settings;
};

} // namespace rehome::test
