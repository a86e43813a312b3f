// Where the documents go: the web server's JSON directory on the meter. Every
// document path is $WEB_ROOT (empty on the meter) followed by this directory and
// the document's file name.
#ifndef LIVEDATA_JSONDIRECTORY_H_
#define LIVEDATA_JSONDIRECTORY_H_

// With its trailing '/'.
inline constexpr char kJsonDirectory[] = "/home/korvo.web/lighttpd/www/htdocs/common_ui/json/";

#endif  // LIVEDATA_JSONDIRECTORY_H_
