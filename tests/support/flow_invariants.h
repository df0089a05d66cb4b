// Whether the flow engine's tables agree with each other: one line per disagreement, none when
// they do. What the engine lets drift on purpose (a chain's count lowered by a flow that leaves a
// chain it never joined; entries and tree nodes a chip kept after a refused delete or after a
// generic add refused on a later chip) is not checked.
#pragma once

#include <string>
#include <vector>

namespace ofa::test {

std::vector<std::string> flow_invariants();

}  // namespace ofa::test
