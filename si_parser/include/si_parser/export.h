#pragma once

/// Marks what `libsi_parser` offers; everything else is hidden in the library.
#define SI_PARSER_EXPORT __attribute__((visibility("default")))
