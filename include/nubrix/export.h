// Marks what libNubrix.so, and a plug-in, show to the outside; everything else is hidden.
#pragma once

#define NUBRIX_API __attribute__((visibility("default")))
