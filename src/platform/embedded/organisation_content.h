#pragma once

#include "platform/embedded/comparison.h"
#include "platform/embedded/object_tree.h"

#include <QSet>

namespace rehome::embedded {

/// All that a file tells of an organisation.
struct OrganisationContent {
    QString source; ///< names the file in messages
    Comparison comparison;
    std::shared_ptr<const Object> root; ///< with an empty name
    AttributeNames names;
    ObjectTree tree;
    QHash<QByteArray, ObjectTree::Place> byGuid; ///< by objectGUID
    QSet<QByteArray> categories;                 ///< values of objectCategory
};

} // namespace rehome::embedded
