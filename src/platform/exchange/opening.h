#pragma once

#include <QString>

namespace rehome::exchange {

/// What a data source is opened with besides the address. Only these values are accepted.
struct OpenArguments {
    bool ActiveConnection = false; ///< none
    int Mode = 0;                  ///< unspecified
    int CreateOptions = -1;        ///< fail if the item does not exist
    int Options = 0;
    QString UserName;
    QString Password;
};

/// Opens the object it belongs to on an address. Open throws Error where there is no such item, or
/// it does not answer.
class IDataSource {
public:
    virtual ~IDataSource() = default;
    virtual void Open(const QString& address, const OpenArguments& arguments = {}) = 0;
};

/// Throws Error where the arguments are other than those that these objects know.
void requireStatedArguments(const OpenArguments& arguments);

} // namespace rehome::exchange
