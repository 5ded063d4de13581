#pragma once

#include <QString>
#include <QStringList>

#include <array>

namespace rehome::exchange {

/// The attributes of a user that a mailbox's home is made of, and those that Exchange's recipient
/// policy may change on the way: all that the tool ever writes. What a binding reads, what a record
/// holds, which rights are asked for and how a change is sent follow from this table.
struct HomeAttribute {
    enum Step : unsigned { Drop = 1, Creation = 2, WriteBack = 4 };
    /// How a change of it is sent.
    enum class Sent {
        Whole,  ///< its values are replaced
        ByValue ///< what was read is deleted and the new value added, so that the domain controller
                ///< refuses the change if somebody else has written another value meanwhile
    };

    QLatin1String name;
    unsigned steps;          ///< those that write it
    bool onlyIfNone = false; ///< the creation writes it only for a user who has none
    Sent sent = Sent::Whole;
};

/// In the order in which records hold them. `msExchMailboxGuid`, the primary key of the mailbox, is
/// written with the value that it has: the change is then refused if it has another one by now.
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

/// Null if the table does not hold it. In any letter case.
const HomeAttribute* findHomeAttribute(const QString& name);

/// All of them.
QStringList homeAttributeNames();

} // namespace rehome::exchange
