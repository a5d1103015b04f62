// Cocoa: AppKit and Foundation are GNUstep's.
#ifndef MACAPI_COCOA_H
#define MACAPI_COCOA_H

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#endif
