#include "scanner/Scanner.h"
#include <gtest/gtest.h>
TEST(ScannerParts, Placeholder) {}
