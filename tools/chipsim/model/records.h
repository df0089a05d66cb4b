// JSON views of the TCAM keys and results and of the other chip objects, shared by the request
// log and the dump.
#pragma once

#include "common/json.h"
#include "model/state.h"
#include "platform/wire.h"

namespace ofa::chipsim {

void emit(tools::JsonWriter& j, const L2Key& k);
void emit(tools::JsonWriter& j, const L2Result& r);
void emit(tools::JsonWriter& j, const L3Key& k);
void emit(tools::JsonWriter& j, const L3Result& r);

// Decoders of the key and result blocks at their offsets in a request.
L2Key read_l2_key(wire::Reader& r);
L2Result read_l2_result(wire::Reader& r, size_t base);
L3Key read_l3_key(wire::Reader& r);
L3Result read_l3_result(wire::Reader& r, size_t base);

}  // namespace ofa::chipsim
