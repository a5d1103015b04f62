// The same in a program that is linked the other way round: macapi's constants are there before Foundation.
#define Bridge EarlyBridge
#include "macapi_bridge_test.mm"
