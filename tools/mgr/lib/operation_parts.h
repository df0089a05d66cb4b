// Pieces the operation readers share: the verb, key=value walks, required keys, and the
// configuration operations (port, openflow, default-action, protected-vlan, config,
// sync-complete), which live in config_syntax.cc.
#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "codec.h"
#include "operations.h"
#include "syntax.h"

namespace ofa::mgr::detail {

using Err = std::optional<std::string>;

// An id, or "all" for 0xffffffff.
Err set_id(uint32_t& field, std::string_view v, std::string_view what);

// The sub-type named by words[0] among `verbs`, or an error listing them.
Result<uint16_t> verb(std::span<const std::string> words, std::string_view op,
                      std::initializer_list<std::pair<std::string_view, uint16_t>> verbs);

// Walks key=value words; `field` answers nullopt for a key it does not know.
using FieldFn = std::function<std::optional<Err>(const syntax::KeyValue&)>;
Err fields(std::span<const std::string> words, std::string_view op, const FieldFn& field);

// Keys that must appear among the words.
Err require(std::span<const std::string> words, std::string_view op,
            std::initializer_list<std::string_view> keys);

Result<Message> fail(std::string reason);

// Configuration operations; words after the operation word.
Result<Message> port_config(std::span<const std::string> w, const ParseContext& ctx);
Result<Message> openflow_op(std::span<const std::string> w);
Result<Message> default_action_op(std::span<const std::string> w);
Result<Message> protected_vlan_op(std::span<const std::string> w);
Result<Message> config_op(std::span<const std::string> w);
Result<Message> sync_op(std::span<const std::string> w);

}  // namespace ofa::mgr::detail
