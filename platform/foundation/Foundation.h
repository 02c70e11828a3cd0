#pragma once

// The whole object world of platform/foundation: texts, collections, dates, files, events, notifications, preferences.
// Objects are held by Ref, nil is an ordinary value, and names are the platform's, with underscores for colons:
//
//   const auto record = NSMutableDictionary::dictionary();
//   record->setObject_forKey("/home/anna/Site"_ns, "LocalPath"_ns);
//   record->setObject_forKey(NSNumber::numberWithBool(true), "IsDirectory"_ns);
//   const auto path = as<NSString>(record->objectForKey("LocalPath"_ns));  // nil when it is no text
//   NSLog("%@ is the source"_ns, path);
//   NSArray::arrayWithObjects({record})->writeToFile_atomically("/tmp/records.plist"_ns, true);

#include "foundation/coding/NSCoder.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSEnumerator.h"
#include "foundation/collections/NSFastEnumeration.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/collections/NSSortDescriptor.h"
#include "foundation/collections/NSUUID.h"
#include "foundation/errors/NSAssertionHandler.h"
#include "foundation/errors/NSError.h"
#include "foundation/errors/NSException.h"
#include "foundation/errors/NSLog.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/events/NSStream.h"
#include "foundation/events/NSThread.h"
#include "foundation/events/NSTimer.h"
#include "foundation/files/NSBundle.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSPathUtilities.h"
#include "foundation/files/NSURL.h"
#include "foundation/notifications/NSDistributedNotificationCenter.h"
#include "foundation/notifications/NSNotification.h"
#include "foundation/notifications/NSNotificationCenter.h"
#include "foundation/preferences/NSUserDefaults.h"
#include "foundation/runtime/NSInvocation.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/runtime/NSObject.h"
#include "foundation/runtime/NSRange.h"
#include "foundation/runtime/WeakRef.h"
#include "foundation/text/NSAttributedString.h"
#include "foundation/text/NSCharacterSet.h"
#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSCalendar.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateComponents.h"
#include "foundation/time/NSDateComponentsFormatter.h"
#include "foundation/time/NSDateFormatter.h"
#include "foundation/time/NSTimeZone.h"
