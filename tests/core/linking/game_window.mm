// A game with a window class of its own, which derives from the library's. The exit status is 0 when the Objective-C
// runtime knows both classes and there is one AppKit in the process.
#import <AppKit/AppKit.h>

#include <fstream>
#include <iostream>
#include <set>
#include <string>

@interface BKWindow : NSWindow
@end

@interface GameWindow : BKWindow
@end

@implementation GameWindow
@end

static size_t countAppKits()
{
    std::set<std::string> paths;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/libgnustep-gui.so") != std::string::npos) {
            paths.insert(line.substr(line.find('/')));
        }
    }
    return paths.size();
}

int main()
{
    const bool isKnown = [BKWindow class] && [BKWindow class] == NSClassFromString(@"BKWindow");
    const bool isSuperclass = [GameWindow superclass] == [BKWindow class];
    if (!isKnown || !isSuperclass || countAppKits() != 1) {
        std::cerr << "known " << isKnown << ", superclass " << isSuperclass << ", AppKits " << countAppKits() << '\n';
        return 1;
    }
    return 0;
}
