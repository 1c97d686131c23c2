#pragma once

#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <variant>

namespace orvix::broadcast {

/// One decoded section; valid during the call that hands it over.
using table_ref = std::variant<const si_parser::pat*, const si_parser::pmt*, const si_parser::sdt*,
                               const si_parser::nit*, const si_parser::eit*, const si_parser::ait*,
                               const si_parser::tdt*, const si_parser::tot*>;

}  // namespace orvix::broadcast
