#include "platform/application_launcher.h"

#include <AppKit/AppKit.h>

#include <dlfcn.h>
#include <objc/runtime.h>
#include <string>

namespace platform {

bool openApplication(std::string_view identifier)
{
    // AppKit takes longer to load than everything else that the host does, and few connections ever
    // open the application: it is loaded here and not with the program. It is never unloaded.
    constexpr const char* appKitPath = "/System/Library/Frameworks/AppKit.framework/AppKit";
    if (::dlopen(appKitPath, RTLD_LAZY | RTLD_LOCAL) == nullptr)
        return false;
    @autoreleasepool {
        // Classes are looked up by name, as nothing may refer to them before the library is there.
        NSString* const bundleIdentifier =
            [objc_getClass("NSString") stringWithUTF8String:std::string(identifier).c_str()];
        NSWorkspace* const workspace = [objc_getClass("NSWorkspace") sharedWorkspace];
        NSURL* const location = [workspace URLForApplicationWithBundleIdentifier:bundleIdentifier];
        if (location == nil)
            return false;
        NSWorkspaceOpenConfiguration* const configuration =
            [objc_getClass("NSWorkspaceOpenConfiguration") configuration];
        [workspace openApplicationAtURL:location configuration:configuration completionHandler:nil];
        return true;
    }
}

} // namespace platform
