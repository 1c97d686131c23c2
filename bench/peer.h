#pragma once

#include <benchmark/benchmark.h>

#include "samples.h"

namespace orvix::bench {

/// Whether libdvbpsi decodes this table with the descriptors that the sample holds.
bool peer_decodes(const sample& s);

/// libdvbpsi decodes the table with its descriptors. It takes packets, not sections, and decodes a
/// table anew only with a new version: it is handed packets of 32 versions in turn. Its count
/// therefore holds the putting together and the CRC_32 of each section as well.
void run_peer(benchmark::State& state, const sample& s);

}  // namespace orvix::bench
