#pragma once

// The whole object world of platform/foundation.

#include "foundation/NSArray.h"
#include "foundation/NSData.h"
#include "foundation/NSDate.h"
#include "foundation/NSDictionary.h"
#include "foundation/NSError.h"
#include "foundation/NSException.h"
#include "foundation/NSInvocation.h"
#include "foundation/NSLog.h"
#include "foundation/NSNull.h"
#include "foundation/NSNumber.h"
#include "foundation/NSObject.h"
#include "foundation/NSPathUtilities.h"
#include "foundation/NSRange.h"
#include "foundation/NSRunLoop.h"
#include "foundation/NSStream.h"
#include "foundation/NSString.h"
#include "foundation/NSURL.h"
#include "foundation/NSThread.h"
