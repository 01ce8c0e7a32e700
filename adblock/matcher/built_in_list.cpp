#include "sources.h"

namespace velmora::adblock {

// Enough to make a difference where no list is installed: the large networks by their hosts, and
// what URLs of advertisements are called on anybody's server.
const std::string_view BUILT_IN_LIST = R"([Adblock Plus 2.0]
! Networks that deliver advertisements
||doubleclick.net^
||googlesyndication.com^
||googleadservices.com^
||adservice.google.com^
||2mdn.net^
||adnxs.com^
||adsrvr.org^
||amazon-adsystem.com^
||rubiconproject.com^
||pubmatic.com^
||openx.net^
||casalemedia.com^
||criteo.com^$third-party
||criteo.net^
||taboola.com^$third-party
||outbrain.com^$third-party
||zergnet.com^$third-party
||revcontent.com^$third-party
||mgid.com^$third-party
||adform.net^
||smartadserver.com^
||serving-sys.com^
||advertising.com^
||atdmt.com^
||fastclick.net^
||tribalfusion.com^
||zedo.com^
||yieldmo.com^
||teads.tv^
||sharethrough.com^$third-party
||adcolony.com^$third-party
||media.net^$third-party
||propellerads.com^$third-party
||popads.net^
||exoclick.com^$third-party
||moatads.com^
||bidswitch.net^
||adroll.com^$third-party
||adtechus.com^
||indexww.com^
! Counters of visits
||google-analytics.com^$third-party
||scorecardresearch.com^
||quantserve.com^
||hotjar.com^$third-party
||chartbeat.com^$third-party
||chartbeat.net^
||imrworldwide.com^
||omtrdc.net^
! On any server
/adserver/*
/adserve/*
/adframe.
/adbanner.
/ad-banner/*
/ad_banner/*
/banner_ads/*
/banners/ads/*
/banner468x60.
/banner_468x60.
_468x60.$image
-468x60.$image
_728x90.$image
-728x90.$image
_300x250.$image
-300x250.$image
/pagead/*
/openx/www/delivery/*
/www/delivery/ajs.php
/www/delivery/afr.php
)";

}  // namespace velmora::adblock
