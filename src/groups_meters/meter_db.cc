// The meter base and its pools, and the add, modify, delete and clear operations of the manager.
#include <cstddef>
#include <new>

#include "agent/reset.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/engine_lookups.h"
#include "foundation/generic_pool.h"
#include "foundation/kprintf.h"
#include "groups_meters/meter.h"

namespace {

struct meter_base {
  dce_avl_tree tree;
  uint32_t count;
};

meter_base* g_mbase = nullptr;
generic_pool g_meter_pool;
generic_pool g_band_pool;

meter_node* find(uint32_t id) {
  return g_mbase ? static_cast<meter_node*>(dce_avl_find(&g_mbase->tree, &id)) : nullptr;
}

void free_bands(meter_band_node* b) {
  while (b) {
    meter_band_node* next = b->next;
    generic_free_mem_to_pool(&g_band_pool, b);
    b = next;
  }
}

void free_meter(meter_node* m) {
  free_bands(m->band_list);
  generic_free_mem_to_pool(&g_meter_pool, m);
}

void unlink(meter_node* m) {
  dce_avl_delete(&g_mbase->tree, &m->link);
  if (g_mbase->count > 0) --g_mbase->count;
}

void insert(meter_node* m) {
  dce_avl_insert_or_find(&g_mbase->tree, &m->link);
  ++g_mbase->count;
  file_printf("OPENFLOW METER: METER %d info is added to DB \n", m->meter_id);
}

void fill_band(meter_band_node* b, uint32_t index, const meter_msg& m) {
  if (index == 1) {
    *b = {nullptr, OF_METER_BAND_DROP, m.drop_rate, m.drop_burst, 0};
    file_printf("OPENFLOW METER: %s, Meter Band:DROP, rate:%d \tburst size:%d\n",
                "openflow_fill_meter_band_entry", b->rate, b->burst_size);
    return;
  }
  *b = {nullptr, OF_METER_BAND_DSCP_REMARK, m.dscp_rate, m.dscp_burst,
        static_cast<uint8_t>(m.dscp_prec_level)};
  file_printf(
      "OPENFLOW METER: %s, Meter Band:DSCP REMARK, rate:%d \tburst size:%d\tprec_level:%d\n",
      "openflow_fill_meter_band_entry", b->rate, b->burst_size, b->prec_level);
}

// The band list of a message; null for a band count of 0 or when the band pool runs dry, and
// then every band taken has gone back.
meter_band_node* build_bands(const meter_msg& m) {
  file_printf("meter_id:%d flags:%d drop.rate:%d drop.burst_size:%d\n", m.meter_id, m.flags,
              m.drop_rate, m.drop_burst);
  file_printf("dscp.rate:%d dscp.burst_size:%d  dscp.prec_level:%d band_cnt %d\n", m.dscp_rate,
              m.dscp_burst, m.dscp_prec_level, m.band_cnt);
  meter_band_node* head = nullptr;
  meter_band_node** tail = &head;
  for (uint32_t i = 1; i <= m.band_cnt; ++i) {
    auto* b = static_cast<meter_band_node*>(generic_get_mem_from_pool(&g_band_pool));
    if (!b) {
      file_printf("ERROR: %s, band_node is NULL, Memory allocation failed \n",
                  "openflow_build_meter_band");
      free_bands(head);
      return nullptr;
    }
    file_printf("OPENFLOW METER: Building Meter Band %d for Meter :%d \n", i, m.meter_id);
    fill_band(b, i, m);
    *tail = b;
    tail = &b->next;
  }
  return head;
}

meter_node* copy_meter(const meter_msg& m) {
  auto* n = static_cast<meter_node*>(generic_get_mem_from_pool(&g_meter_pool));
  if (!n) {
    file_printf("ERROR: %s, meter_node is NULL, Memory allocation failed \n",
                "openflow_generic_mode_copy_meter");
    return nullptr;
  }
  n->meter_id = m.meter_id;
  n->flags = m.flags;
  n->band_list = build_bands(m);
  if (!n->band_list) {
    file_printf("ERROR: %s, meter_band_node is NULL \n", "openflow_generic_mode_copy_meter");
    generic_free_mem_to_pool(&g_meter_pool, n);
    return nullptr;
  }
  n->band_cnt = m.band_cnt;
  return n;
}

// The message's meter in the base with its adjusted values; null, printed, when a pool runs dry.
meter_node* copy_and_insert(const meter_msg& m, const char* caller) {
  meter_node* n = copy_meter(m);
  if (!n) {
    file_printf("ERROR: %s, meter_node is NULL \n", caller);
    return nullptr;
  }
  meter_config config;
  openflow_build_meter_config(&config, m);
  insert(n);
  n->config = config;
  return n;
}

// The pools and the base, with no word to the chips.
void free_all() {
  delete g_mbase;
  g_mbase = nullptr;
  free_generic_pool(&g_meter_pool);
  free_generic_pool(&g_band_pool);
}

const ofa_reset_hook reset_hook{6, free_all};

// A pool of 200 elements growing by 200 up to 3960; on failure nothing stays allocated.
bool make_pool(generic_pool* pool, uint32_t element_size, const char* failed) {
  if (!init_generic_pool(pool, OF_METER_POOL_INITIAL, element_size, OF_METER_POOL_FLAGS)) {
    file_printf("%s", failed);
    free_all();
    return false;
  }
  set_generic_pool_upper_limit(pool, OF_METER_POOL_LIMIT);
  return true;
}

uint32_t policer_of_meter(uint32_t flat_chip_id, uint32_t meter_id) {
  return of_dpx_retrieve_policerid_from_meterid(ofLookupChip(flat_chip_id), meter_id);
}

void openflow_lp_meter_delete_all() {
  for (meter_node* m = of_lp_meter_get_first_meter_node(); m;
       m = static_cast<meter_node*>(dce_avl_next(&g_mbase->tree, &m->link))) {
    file_printf("OPENFLOW METER: METER %d deletion in hardware \n", m->meter_id);
    if (!openflow_lp_dpx_delete_meter(m))
      file_printf("OPENFLOW METER: METER %d deletion failed in hardware \n", m->meter_id);
  }
}

int lp_openflow_clear_meter_stats(uint32_t meter_id, int last) {
  meter_node* m = find(meter_id);
  if (!m) {
    uprintf("lp_openflow_clear_meter_stats: meter_node NULL\n");
    return 0;
  }
  file_printf("Clearing Stats for Meter %u \n", meter_id);
  lp_openflow_clear_hw_meter_stats(m, last);
  m->in_packets = m->in_bytes = m->reserved = 0;
  m->drop_packets = m->drop_bytes = m->remark_packets = m->remark_bytes = 0;
  return 1;
}

int lp_openflow_clear_meter_stats_all() {
  meter_node* m = of_lp_meter_get_first_meter_node();
  if (!m) {
    uprintf("No meters in this LP \n");
    return 0;
  }
  int result = 1;
  while (m) {
    meter_node* next = static_cast<meter_node*>(dce_avl_next(&g_mbase->tree, &m->link));
    if (!lp_openflow_clear_meter_stats(m->meter_id, next == nullptr)) result = 0;
    m = next;
  }
  return result;
}

}  // namespace

int openflow_lp_meter_init() {
  if (g_mbase) return 1;
  // The band pool's limit is the meter pool's: 1980 two-band meters exhaust it.
  if (!make_pool(&g_meter_pool, sizeof(meter_node), "ERROR: Meter Pool initialisation failed\n") ||
      !make_pool(&g_band_pool, sizeof(meter_band_node),
                 "ERROR: Meter Band Pool initialisation failed\n"))
    return 0;
  file_printf("Meter Band Pool initialisation done\n");
  g_mbase = new (std::nothrow) meter_base{};
  if (!g_mbase) {
    file_printf("ERROR: openflow_lp_create_meter_base: mbase NULL\n");
    free_all();
    return 0;
  }
  dce_avl_tree_init(&g_mbase->tree, dce_compare_uint32, offsetof(meter_node, meter_id),
                    offsetof(meter_node, link));
  of_lookups.policer_of_meter = policer_of_meter;
  return 1;
}

void openflow_lp_meter_destroy() {
  if (g_mbase) openflow_lp_meter_delete_all();
  free_all();
}

int lp_openflow_generic_add_meter(const meter_msg& m) {
  file_printf("OPENFLOW METER: Adding Meter with Meter :%d \n", m.meter_id);
  if (!g_mbase) return 0;
  if (find(m.meter_id)) {
    file_printf("OPENFLOW METER: METER NODE with Meter id:%d already exist \n", m.meter_id);
    return 0;
  }
  meter_node* n = copy_and_insert(m, __func__);
  if (!n) return 0;
  openflow_dpx_init_meter_rl(n);
  if (!openflow_lp_dpx_create_meter(n, &n->config)) {
    file_printf("OPENFLOW METER: METER %d creation failed in hardware \n", m.meter_id);
    return 0;
  }
  file_printf("OPENFLOW METER: METER %d is succesfully created in hardware \n", m.meter_id);
  return 1;
}

int lp_openflow_generic_modify_meter(const meter_msg& m) {
  file_printf("OPENFLOW METER: Modify Meter for Meter :%d \n", m.meter_id);
  meter_node* old = find(m.meter_id);
  if (!old) {
    file_printf("OPENFLOW METER: METER NODE with Meter id:%d do not exist \n", m.meter_id);
    return 0;
  }
  uint16_t policer_id = old->policer_id;
  uint16_t carried_half = old->carried_half;
  unlink(old);
  free_meter(old);
  file_printf("OPENFLOW METER: OLD Meter info for Meter %d is removed from DB \n", m.meter_id);
  meter_node* n = copy_and_insert(m, __func__);
  if (!n) return 0;
  n->policer_id = policer_id;
  n->carried_half = carried_half;
  if (!openflow_lp_dpx_modify_meter(n, &n->config)) {
    file_printf("OPENFLOW METER: METER %d modify failed in hardware \n", m.meter_id);
    return 0;
  }
  // "created" is the word on this path too.
  file_printf("OPENFLOW METER: METER %d is succesfully created in hardware \n", m.meter_id);
  return 1;
}

int lp_openflow_generic_del_meter(uint32_t meter_id) {
  if (meter_id == OF_METER_ALL) {
    openflow_lp_meter_destroy();
    int ok = openflow_lp_meter_init();
    if (!ok) uprintf("Meter resource Initialisation Failed\n");
    file_printf(ok ? "lp_openflow_generic_del_meter_all success\n"
                   : "lp_openflow_generic_del_meter_all failed\n");
    return ok;
  }
  file_printf("OPENFLOW METER: Delete Meter for Meter :%d \n", meter_id);
  meter_node* m = find(meter_id);
  if (!m) {
    file_printf("OPENFLOW METER: METER NODE with Meter id:%d do not exist \n", meter_id);
    return 0;
  }
  if (m->flow_count) {
    file_printf("OPENFLOW METER: Meter %u has %u flows associated. \n", meter_id, m->flow_count);
    return 0;
  }
  if (!openflow_lp_dpx_delete_meter(m)) {
    file_printf("OPENFLOW METER: METER %d deletion failed in hardware \n", meter_id);
    return 0;
  }
  file_printf("OPENFLOW METER: METER %d is succesfully deleted from hardware \n", meter_id);
  unlink(m);
  file_printf("OPENFLOW METER: METER %d info is removed from DB \n", meter_id);
  free_meter(m);
  return 1;
}

int lp_openflow_generic_clear_meter_stats(uint32_t meter_id) {
  if (meter_id == OF_METER_ALL) {
    file_printf("Clearing all Meter stats \n");
    int ok = lp_openflow_clear_meter_stats_all();
    file_printf(ok ? "lp_openflow_generic_clear_meter_stats_all success\n"
                   : "lp_openflow_generic_clear_meter_stats_all failed\n");
    return ok;
  }
  int ok = lp_openflow_clear_meter_stats(meter_id, 1);
  file_printf(ok ? "lp_openflow_clear_meter_stats success\n"
                 : "lp_openflow_clear_meter_stats failed\n");
  return ok;
}

meter_node* of_lp_retrieve_meter_from_meterbase(uint32_t meter_id) {
  return find(meter_id);
}

meter_node* of_lp_meter_get_first_meter_node() {
  return g_mbase ? static_cast<meter_node*>(dce_avl_first(&g_mbase->tree)) : nullptr;
}

meter_node* of_lp_meter_get_next_meter_node_key(uint32_t meter_id) {
  return g_mbase ? static_cast<meter_node*>(dce_avl_find_or_find_next(&g_mbase->tree, &meter_id, 1))
                 : nullptr;
}

uint32_t of_lp_meter_get_meter_count() {
  return g_mbase ? g_mbase->count : 0;
}

int of_lp_meter_has_meter_band(uint32_t meter_id, uint16_t type) {
  meter_node* m = find(meter_id);
  for (meter_band_node* b = m ? m->band_list : nullptr; b; b = b->next)
    if (b->type == type) return 1;
  return 0;
}

uint32_t of_lp_meter_pool_in_use() {
  return g_mbase ? generic_get_pool_allocated_number(&g_meter_pool) : 0xFFFFFFFF;
}

uint32_t of_lp_meter_band_pool_in_use() {
  return g_mbase ? generic_get_pool_allocated_number(&g_band_pool) : 0xFFFFFFFF;
}

void openflow_inc_meter_flow_count(uint32_t meter_id) {
  if (meter_node* m = meter_id ? find(meter_id) : nullptr) ++m->flow_count;
}

void openflow_dec_meter_flow_count(uint32_t meter_id) {
  meter_node* m = meter_id ? find(meter_id) : nullptr;
  if (m && m->flow_count > 0) --m->flow_count;
}
