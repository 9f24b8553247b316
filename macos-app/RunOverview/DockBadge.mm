#include "RunOverview/DockBadge.h"

#import <AppKit/AppKit.h>

void showDockBadge(int percentage)
{
    NSString* label = percentage < 0 ? nil : [NSString stringWithFormat:@"%d%%", percentage];
    [[NSApp dockTile] setBadgeLabel:label];
}
