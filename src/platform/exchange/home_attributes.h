#pragma once

#include <QString>
#include <QStringList>

#include <array>

namespace rehome::exchange {

/// An attribute of a user that makes up the mailbox's home, or that Exchange's recipient policy may
/// change because of a move. The program writes no others. The table decides what a binding reads,
/// what a recovery record contains, which permissions are checked and how a change is sent.
struct HomeAttribute {
    enum Step : unsigned { Drop = 1, Creation = 2, WriteBack = 4 };
    /// How a change of it is sent.
    enum class Sent {
        Whole,  ///< all values are replaced
        ByValue ///< the value that was read is deleted and the new value added, so that the domain
                ///< controller refuses the change if another value has been written meanwhile
    };

    QLatin1String name;
    unsigned steps;          ///< those that write it
    bool onlyIfNone = false; ///< a creation writes it only if the user has none
    Sent sent = Sent::Whole;
};

/// In the order of recovery records. `msExchMailboxGuid`, the primary key of the mailbox, is
/// written with its present value, so that the change is refused if it has another one by now.
inline constexpr std::array HomeAttributes{
    HomeAttribute{QLatin1String("homeMDB"), HomeAttribute::Drop | HomeAttribute::Creation, false,
                  HomeAttribute::Sent::ByValue},
    HomeAttribute{QLatin1String("homeMTA"), HomeAttribute::Drop | HomeAttribute::Creation},
    HomeAttribute{QLatin1String("msExchHomeServerName"),
                  HomeAttribute::Drop | HomeAttribute::Creation},
    HomeAttribute{QLatin1String("msExchMailboxGuid"), HomeAttribute::Drop | HomeAttribute::Creation,
                  false, HomeAttribute::Sent::ByValue},
    HomeAttribute{QLatin1String("mDBUseDefaults"), HomeAttribute::Creation, true},
    HomeAttribute{QLatin1String("mailNickname"), HomeAttribute::Creation, true},
    HomeAttribute{QLatin1String("mail"), HomeAttribute::WriteBack, false,
                  HomeAttribute::Sent::ByValue},
    HomeAttribute{QLatin1String("proxyAddresses"), HomeAttribute::WriteBack},
};

/// Returns the entry of an attribute (case-insensitive); null if there is none.
const HomeAttribute* findHomeAttribute(const QString& name);

/// Returns the names of all of them, in that order.
QStringList homeAttributeNames();

} // namespace rehome::exchange
