// Cocoa: includes GNUstep's AppKit and Foundation.
#ifndef MACAPI_COCOA_H
#define MACAPI_COCOA_H

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#endif
