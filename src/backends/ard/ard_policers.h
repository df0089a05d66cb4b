// `ard` policer handlers: slots 22 to 24 of the operation table. A policer is a pair of
// instances, 0 and 1, under one id, sent as one bulk of two sub-requests to the chip given (not
// to every chip). Add and update are the same request: both instances take the committed rate and
// burst; `ard` reads neither the excess pair nor the other words. A null chip or rate is -128.
#pragma once

#include <cstdint>

#include "backends/chip_handlers.h"

int ard_of_policer_add(of_chip_entry* chip, uint32_t policer_id, const of_policer_rate* rate);
int ard_of_policer_upd(of_chip_entry* chip, uint32_t policer_id, const of_policer_rate* rate);
int ard_of_policer_del(of_chip_entry* chip, uint32_t policer_id);
