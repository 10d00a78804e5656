// Macros and text entry.
#include "TarnViewController.h"
