#include "ui/macos/MacStatusItem.h"

#include "ui/Symbols.h"

#import <AppKit/AppKit.h>
#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <utility>

// The button's target: AppKit calls an Objective-C method, which hands over to C++.
@interface WindlarkStatusItemTarget : NSObject {
@public
    std::function<void()> onClick;
    std::function<void()> onSecondaryClick;
}
- (void)clicked:(id)sender;
@end

@implementation WindlarkStatusItemTarget
- (void)clicked:(id)sender {
    (void)sender;
    NSEvent* event = NSApp.currentEvent;
    const bool isSecondary = event.type == NSEventTypeRightMouseUp ||
                             (event.type == NSEventTypeLeftMouseUp &&
                              (event.modifierFlags & NSEventModifierFlagControl));
    if (isSecondary) {
        if (onSecondaryClick) {
            onSecondaryClick();
        }
    } else if (onClick) {
        onClick();
    }
}
@end

namespace windlark {
namespace {

constexpr int kItemMinimumWidth = 54;

// The fan drawn by the program, as a template image: only its alpha counts, and the menu
// bar tints it. Drawn at twice the point size for Retina displays.
NSImage* fanTemplateImage() {
    constexpr int points = 18;
    QImage image(points * 2, points * 2, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        Symbols::paint(painter, Symbols::Symbol::fan, QRectF(2, 2, points * 2 - 4, points * 2 - 4),
                       Qt::black);
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    NSData* data = [NSData dataWithBytes:png.constData()
                                  length:static_cast<NSUInteger>(png.size())];
    NSImage* result = [[NSImage alloc] initWithData:data];
    result.size = NSMakeSize(points, points);
    [result setTemplate:YES]; // "template" is a C++ keyword, so no dot syntax here
    result.accessibilityDescription = @"Windlark Mac";
    return result;
}

} // namespace

struct MacStatusItem::Parts {
    NSStatusItem* item = nil;
    WindlarkStatusItemTarget* target = nil;
};

MacStatusItem::MacStatusItem(std::function<void()> onClick, std::function<void()> onSecondaryClick)
    : parts_(std::make_unique<Parts>()) {
    parts_->target = [[WindlarkStatusItemTarget alloc] init];
    parts_->target->onClick = std::move(onClick);
    parts_->target->onSecondaryClick = std::move(onSecondaryClick);
    parts_->item = [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
    NSStatusBarButton* button = parts_->item.button;
    button.bordered = NO;
    [button setButtonType:NSButtonTypeMomentaryChange];
    button.image = fanTemplateImage();
    button.imagePosition = NSImageOnly;
    button.toolTip = @"Windlark Mac";
    button.target = parts_->target;
    button.action = @selector(clicked:);
    [button sendActionOn:NSEventMaskLeftMouseUp | NSEventMaskRightMouseUp];
}

MacStatusItem::~MacStatusItem() {
    if (parts_->item != nil) {
        [NSStatusBar.systemStatusBar removeStatusItem:parts_->item];
    }
}

void MacStatusItem::update(const QString& title, int width) {
    NSStatusBarButton* button = parts_->item.button;
    const CGFloat length = static_cast<CGFloat>(std::max(width, kItemMinimumWidth));
    parts_->item.length = length;
    button.frame = NSMakeRect(0, 0, length, NSStatusBar.systemStatusBar.thickness);
    button.imagePosition = NSImageLeft;
    button.title = title.toNSString();
}

QRect MacStatusItem::buttonGeometry() const {
    NSStatusBarButton* button = parts_->item.button;
    NSWindow* window = button.window;
    NSScreen* primary = NSScreen.screens.firstObject;
    if (window == nil || primary == nil) {
        return {};
    }
    const NSRect inWindow = [button convertRect:button.bounds toView:nil];
    const NSRect onScreen = [window convertRectToScreen:inWindow];
    // AppKit counts up from the bottom of the primary screen; Qt counts down from its top.
    const CGFloat top = NSMaxY(primary.frame) - NSMaxY(onScreen);
    return {static_cast<int>(NSMinX(onScreen)), static_cast<int>(top),
            static_cast<int>(NSWidth(onScreen)), static_cast<int>(NSHeight(onScreen))};
}

void MacStatusItem::setAccessoryActivationPolicy() {
    [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
}

void MacStatusItem::activateIgnoringOtherApps() {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    [NSApp activateIgnoringOtherApps:YES];
#pragma clang diagnostic pop
}

} // namespace windlark
