#pragma once

#include <QString>

namespace rehome::exchange {

/// The arguments of IDataSource::Open() besides the address. No other values are accepted.
struct OpenArguments {
    bool ActiveConnection = false; ///< none
    int Mode = 0;                  ///< unspecified
    int CreateOptions = -1;        ///< fail if the item does not exist
    int Options = 0;
    QString UserName;
    QString Password;
};

/// Opens the object that it belongs to. Open() blocks, may end the process, and throws Error if
/// there is no such object or it does not respond.
class IDataSource {
public:
    virtual ~IDataSource() = default;
    virtual void Open(const QString& address, const OpenArguments& arguments = {}) = 0;
};

/// Throws Error if the arguments are not the default ones.
void requireStatedArguments(const OpenArguments& arguments);

} // namespace rehome::exchange
