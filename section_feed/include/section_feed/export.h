#pragma once

/// Marks what `libsection_feed` offers; everything else is hidden in the library.
#define SECTION_FEED_EXPORT __attribute__((visibility("default")))
