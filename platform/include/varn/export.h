// Marks what libtonvale-platform exports; everything else in it is hidden.
#pragma once

#define VARN_EXPORT __attribute__((visibility("default")))
