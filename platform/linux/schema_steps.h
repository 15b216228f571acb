// The steps that bring the library database from nothing to this version's schema.
#pragma once

#include <span>

namespace varn::host {

struct SchemaStep {
    int version;
    const char *name;  // for messages
    const char *text;  // statements, run in one transaction
};

// All steps by ascending version, 1 first and without gaps; never empty. The texts are those of
// platform/schema, compiled in.
std::span<const SchemaStep> SchemaSteps();

}  // namespace varn::host
