/*! A player's library: knows the names of advertisers' servers, and asks none of them. */
!function(e){e.HlsLite={version:"1.4.2",blockedHosts:["pubads.g.doubleclick.net","ad.doubleclick.net"],beacon:"https://www.google-analytics.com/collect",isSupported:function(){return"MediaSource"in e}};e.document.title+=HlsLite.isSupported()?" (streams)":""}(window);
