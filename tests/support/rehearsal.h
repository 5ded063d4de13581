#pragma once

#include "platform/adsi/directory.h"
#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
#include "platform/embedded/embedded_probe.h"
#include "platform/exchange/exchange_objects.h"
#include "platform/platform.h"
#include "support/recording.h"
#include "support/test_desktop.h"
#include "support/test_organisation.h"

namespace rehome::test {

/// A whole platform over an organisation in process, every call recorded.
struct Rehearsal {
    explicit Rehearsal(const OrganisationText& text = smallOrganisation())
        : organisation(text.ldif(), QStringLiteral("test")) {}

    /// An attribute's values as the directory holds them now.
    QStringList directory(const QString& dn, const QString& attribute) const {
        QStringList texts;
        if (const auto object = organisation.object(dn)) {
            for (const QByteArray& value : object->values(attribute))
                texts += QString::fromUtf8(value);
        }
        return texts;
    }
    QString homeOf(const QString& user) const {
        return directory(OrganisationText::userDN(user), QStringLiteral("homeMDB")).value(0);
    }

    embedded::Organisation organisation;
    embedded::EmbeddedEngine engine{organisation};
    embedded::EmbeddedProbe probe{organisation};
    embedded::EmbeddedNetwork network{organisation};
    TestJournal journal;
    TestDesktop desktop;
    adsi::Directory plainDirectory{engine};
    exchange::ExchangeObjects plainExchange{plainDirectory, probe, journal};
    Calls calls;
    RecordingDirectory recordedDirectory{plainDirectory, calls};
    RecordingExchange recordedExchange{plainExchange, calls};
    platform::Platform platform{recordedDirectory, recordedExchange, network, desktop, journal};
};

} // namespace rehome::test
