#pragma once

#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
#include "platform/embedded/embedded_opener.h"
#include "platform/embedded/embedded_probe.h"
#include "platform/embedded/organisation_file.h"
#include "platform/platform.h"
#include "support/organisation_text.h"
#include "support/recorded_calls.h"
#include "support/test_desktop.h"

namespace rehome::test {

/// A whole platform over an organisation in process, all that reaches the engine recorded.
struct Rehearsal {
    explicit Rehearsal(const OrganisationText& text = smallOrganisation(),
                       platform::Desktop* other = nullptr, platform::Journal* kept = nullptr)
        : organisation(embedded::readOrganisation(text.ldif(), "test")),
          exchange(observed, observed, observed, kept ? *kept : journal),
          platform{exchange, network, other ? *other : desktop, kept ? *kept : journal} {}

    /// Where a mailbox is now, as the directory has it; empty where there is none.
    QString home(const QString& user) const { return organisation.object(user)->text("homeMDB"); }

    embedded::Organisation organisation;
    embedded::EmbeddedEngine engine{organisation};
    embedded::EmbeddedProbe probe{organisation};
    embedded::EmbeddedOpener opener{organisation};
    embedded::EmbeddedNetwork network{organisation};
    RecordedCalls calls;
    engine::ObservedEngine observed{engine, probe, opener, calls};
    TestJournal journal;
    TestDesktop desktop;
    exchange::ExchangeManagement exchange;
    platform::Platform platform;
};

} // namespace rehome::test
