#pragma once

// libldb's headers are C and do not say so to C++. Only sources of this room include this.
extern "C" {
#include <ldb.h>
#include <ldb_handlers.h>
#include <ldb_module.h>
}

#include <memory>

namespace rehome::embedded {

struct TallocFree {
    void operator()(void* memory) const noexcept { talloc_free(memory); }
};
// libldb has a function of the same name.
using LdbFilter = struct ldb_parse_tree;

/// A talloc object and what hangs on it.
template <class T>
using Talloc = std::unique_ptr<T, TallocFree>;

} // namespace rehome::embedded
