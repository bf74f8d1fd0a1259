// VAST documents as texts.
#pragma once

#include <string>

inline std::string vast(const std::string& ads) {
    return "<VAST version=\"3.0\">" + ads + "</VAST>";
}

/// With the error pixel "http://ads.test/e".
inline std::string wrapperTo(const std::string& url, const std::string& attributes = "") {
    return "<Ad " + attributes +
           "><Wrapper><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Error>http://ads.test/e</Error>"
           "<VASTAdTagURI><![CDATA[" +
           url + "]]></VASTAdTagURI></Wrapper></Ad>";
}

/// A playable one of five seconds, with the content before its creatives.
inline std::string inlineAd(const std::string& identifier = "a", const std::string& content = "") {
    return "<Ad id=\"" + identifier + "\"><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle>" + content +
           "<Creatives><Creative><UniversalAdId "
           "idRegistry=\"r\">v</UniversalAdId><Linear><Duration>00:00:05</Duration><TrackingEvents>"
           "<Tracking event=\"start\">http://ads.test/s</Tracking></TrackingEvents><MediaFiles><MediaFile "
           "type=\"video/mp4\">http://ads.test/a.mp4</MediaFile></MediaFiles></Linear></Creative></"
           "Creatives></InLine></Ad>";
}
