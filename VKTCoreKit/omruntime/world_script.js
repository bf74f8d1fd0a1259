// What scripts for browsers expect of any environment and the engine does not have: `self`, base64, and dates as HTTP
// headers write them. Evaluated first in each world. ECMAScript 5.
(function (global) {
  "use strict";

  function define(name, value) {
    Object.defineProperty(global, name, {value: value, writable: true, configurable: true});
  }

  define("self", global);

  // ---- base64 ----

  var digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

  define("btoa", function btoa(value) {
    var text = String(value);
    var result = "";
    for (var i = 0; i < text.length; i += 3) {
      var a = text.charCodeAt(i), b = text.charCodeAt(i + 1), c = text.charCodeAt(i + 2);
      if (a > 255 || b > 255 || c > 255) throw new RangeError("btoa: a character is not one byte");
      var bits = a << 16 | b << 8 | c;
      result += digits.charAt(bits >> 18) + digits.charAt(bits >> 12 & 63) +
          (b === b ? digits.charAt(bits >> 6 & 63) : "=") + (c === c ? digits.charAt(bits & 63) : "=");
    }
    return result;
  });

  define("atob", function atob(value) {
    var text = String(value).replace(/[\t\n\f\r ]/g, "");
    if (text.length % 4 === 0) text = text.replace(/==?$/, "");
    if (text.length % 4 === 1 || /[^A-Za-z0-9+\/]/.test(text)) throw new RangeError("atob: the text is not base64");
    var result = "";
    for (var i = 0, bits = 0; i < text.length; ++i) {
      bits = bits << 6 | digits.indexOf(text.charAt(i));
      if (i % 4 > 0) result += String.fromCharCode(bits >> (6 - 2 * (i % 4)) & 255);
    }
    return result;
  });

  // ---- dates ----

  var EngineDate = Date;
  var months = ["jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec"];
  var headerDate =
      /^\s*(?:[a-z]{3},\s*)?(\d{1,2})\s([a-z]{3})\s(\d{4})\s(\d\d):(\d\d)(?::(\d\d))?\s(?:GMT|UTC|([+\-]\d\d)(\d\d))\s*$/i;

  // Milliseconds since 1970. "Sun, 22 Nov 2026 09:00:00 GMT", or what the engine understands.
  function parse(value) {
    var text = String(value);
    var parts = headerDate.exec(text);
    var month = parts ? months.indexOf(parts[2].toLowerCase()) : -1;
    if (month < 0) return EngineDate.parse(text);
    var zone = parts[7] ? parts[7] * 60 + +(parts[7].charAt(0) + parts[8]) : 0;  // minutes
    return EngineDate.UTC(parts[3], month, parts[1], parts[4], parts[5] - zone, parts[6] || 0);
  }

  function WorldDate(first) {
    if (!(this instanceof WorldDate)) return EngineDate();
    var date;
    if (arguments.length === 0) date = new EngineDate();
    else if (arguments.length === 1) date = new EngineDate(typeof first === "string" ? parse(first) : first);
    else date = new (EngineDate.bind.apply(EngineDate, [null].concat([].slice.call(arguments))))();
    return Object.setPrototypeOf(date, Object.getPrototypeOf(this));
  }

  WorldDate.prototype = EngineDate.prototype;
  WorldDate.prototype.constructor = WorldDate;
  Object.defineProperties(WorldDate, {
    name: {value: "Date"},
    now: {value: EngineDate.now, writable: true, configurable: true},
    UTC: {value: EngineDate.UTC, writable: true, configurable: true},
    parse: {value: parse, writable: true, configurable: true}
  });
  define("Date", WorldDate);
}(this));
