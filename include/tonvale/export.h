// Marks what libtonvale exports; everything else in it is hidden.
#pragma once

#define TONVALE_EXPORT __attribute__((visibility("default")))
