#pragma once

#include <broadcast/services.h>

#include <string>

#include "writers/text/text_writer.h"

namespace orvix::si_inspect {

/// A heading of the transport stream and a block for each service. `file` is empty where only one
/// input is read.
std::string services_text(const std::string& file, const broadcast::told_services& all,
                          const text_writer::settings& how);

}  // namespace orvix::si_inspect
