#include <VKTCoreKit/vast/VKTVASTParser.h>

#include <iostream>
#include <string_view>

int main() {
    constexpr std::string_view text = R"(<VAST version="3.0"><Ad id="1"><InLine>
        <AdSystem>consumer</AdSystem><AdTitle>One ad</AdTitle><Impression>http://127.0.0.1/i</Impression>
        <Creatives><Creative><Linear><Duration>00:00:10</Duration><MediaFiles>
          <MediaFile type="video/mp4" width="640" height="360">http://127.0.0.1/v.mp4</MediaFile>
        </MediaFiles></Linear></Creative></Creatives></InLine></Ad></VAST>)";
    const auto response = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(text);
    if (!response.model) return 1;
    std::cout << response.model->ads().size() << " ad" << std::endl;
}
