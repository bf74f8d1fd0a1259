// Gives one verification script `omid3p`, the interface that the Open Measurement standard publishes for it. The
// world has one vendor's script only. Two doors lead out: `omidReceive(message)`, which the native runtime calls, and
// `postToHost(JSON)`; docs/measurement.md has their messages. ECMAScript 5.
(function (global) {
  "use strict";

  // Taken before the vendor's script can replace them. What it redefines later hurts only itself.
  var post = global.postToHost;
  var stringify = JSON.stringify;
  var toText = String;
  var create = Object.create;
  var define = Object.defineProperty;
  var apply = Function.prototype.call.bind(Function.prototype.apply);
  var substring = Function.prototype.call.bind(String.prototype.substring);
  delete global.postToHost;

  var historyLimit = 256;
  var addressLimit = 16384;
  var textLimit = 1000;
  var consoleLimit = 100;
  var longestDelay = 0x7fffffff;
  var consoleNames = ["log", "info", "warn", "error", "debug", "trace"];
  var sessionEvents = ["sessionStart", "sessionError", "sessionFinish"];
  var mediaEvents = [
    "start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "pause", "resume", "bufferStart",
    "bufferFinish", "skipped", "volumeChange", "playerStateChange", "adUserInteraction"
  ];

  var adSessionId = null;
  var vendorKey;
  var verificationParameters;
  var isFinished = false;
  var listeners = create(null);  // of each type of event
  var history = [];
  var told = 0;  // events at the front of the history that all listeners have heard
  var lastOrder = 0;
  var hasImpression = false;
  var consoleLines = 0;
  var lastId = 0;
  var timers = create(null);
  var replies = create(null);

  function send(message) {
    post(stringify(message));
  }

  function textOf(value) {
    try {
      return substring(toText(value), 0, textLimit);
    } catch (error) {
      return "a value without a text";
    }
  }

  function report(what, error) {
    send({type: "error", message: what + ": " + textOf(error)});
  }

  function isFunction(value, what) {
    if (typeof value === "function") return true;
    report(what, "a function is needed, not a value of type " + typeof value);
    return false;
  }

  function run(call, what, values) {
    try {
      apply(call, undefined, values);
    } catch (error) {
      report(what, error);
    }
  }

  // ---- events ----

  function startData(start, listener) {
    var data = {};
    for (var name in start.data) data[name] = start.data[name];
    var isForVendor = listener.vendorKey === undefined || listener.vendorKey === vendorKey;
    if (isForVendor && verificationParameters !== undefined) data.verificationParameters = verificationParameters;
    return data;
  }

  function deliver(event, listener) {
    if (!event.isHeard) {
      event.isHeard = true;
      send({type: "heard", event: event.type, time: event.timestamp});
    }
    var data = event.type === "sessionStart" ? startData(event, listener) : event.data;
    run(listener.call, "a listener of " + event.type,
        [{adSessionId: adSessionId, timestamp: event.timestamp, type: event.type, data: data}]);
  }

  // Stops when somebody registers meanwhile, who has to catch up first.
  function tell(event) {
    var list = listeners[event.type] || [];
    for (var i = 0; i < list.length && told > 0; ++i) {
      if (list[i].heard >= event.order) continue;
      list[i].heard = event.order;
      deliver(event, list[i]);
    }
  }

  // Each listener hears what it has not heard, in the order of happening. At the end of a turn, so that a script is
  // ready for what it has registered for.
  function tellAll() {
    while (told < history.length) tell(history[told++]);
  }

  function remove(place) {
    for (var i = place + 1; i < history.length; ++i) history[i - 1] = history[i];
    history.length -= 1;
    if (told > place) --told;
  }

  // For those who come late, of geometryChange the latest only.
  function forgetGeometry() {
    for (var i = 0; i < history.length; ++i) {
      if (history[i].type === "geometryChange") {
        remove(i);
        return;
      }
    }
  }

  function add(type, timestamp, data) {
    if (type === "geometryChange") forgetGeometry();
    var isKept = history.length < historyLimit || type === "geometryChange" || type === "sessionFinish";
    history[history.length] = {type: type, timestamp: timestamp, data: data, order: ++lastOrder};
    tellAll();
    if (!isKept) remove(history.length - 1);
  }

  function receiveStart(message) {
    if (adSessionId !== null) return;
    adSessionId = message.adSessionId;
    vendorKey = message.vendorKey;
    verificationParameters = message.verificationParameters;
    var context = message.data.context;
    context.omidJsInfo = {omidImplementer: "VKTCoreKit", serviceVersion: context.app.libraryVersion};
    add("sessionStart", message.timestamp, message.data);
  }

  function receiveEvent(message) {
    if (adSessionId === null || isFinished) return;
    if (message.event === "impression") {
      if (hasImpression) return;
      hasImpression = true;
    }
    add(message.event, message.timestamp, message.data);
  }

  function receiveFinish(message) {
    if (isFinished) return;
    isFinished = true;
    if (adSessionId !== null) add("sessionFinish", message.timestamp, {});
  }

  function register(types, call, key) {
    for (var i = 0; i < types.length; ++i) {
      var list = listeners[types[i]] || (listeners[types[i]] = []);
      for (var j = 0; j < list.length && list[j].call !== call; ++j);
      if (j < list.length) continue;
      list[j] = {call: call, vendorKey: key, heard: 0};
      told = 0;
    }
  }

  function registerSessionObserver(call, key) {
    if (!isFunction(call, "registerSessionObserver")) return;
    register(sessionEvents, call, typeof key === "string" ? key : undefined);
  }

  function addEventListener(type, listener) {
    if (typeof type !== "string") {
      report("addEventListener", "the event's type must be a string");
      return;
    }
    if (!isFunction(listener, "addEventListener")) return;
    register(type === "media" || type === "video" ? mediaEvents : [type], listener);
  }

  // ---- addresses and timers ----

  // Sends a request and keeps what to call with its outcome.
  function request(type, address, succeeded, failed) {
    if (typeof address !== "string" || address.length > addressLimit) {
      report(type, "the address must be a string of at most " + addressLimit + " characters");
      if (typeof failed === "function") run(failed, type, []);
      return;
    }
    var message = {type: type, url: address};
    if (typeof succeeded === "function" || typeof failed === "function") {
      message.id = ++lastId;
      replies[message.id] = {succeeded: succeeded, failed: failed, what: type};
    }
    send(message);
  }

  function receiveReply(message) {
    var reply = replies[message.id];
    if (!reply) return;
    delete replies[message.id];
    var call = message.isSuccess ? reply.succeeded : reply.failed;
    if (typeof call === "function") run(call, "a callback of " + reply.what, []);
  }

  function arm(id, timer) {
    timers[id] = timer;
    send({type: "setTimer", id: id, delay: timer.delay});
  }

  // `values` are the arguments of the script's call: a function, a delay, and what the function is to be called with.
  function addTimer(values, repeats, what) {
    if (!isFunction(values[0], what)) return 0;
    var rest = [];
    for (var i = 2; i < values.length; ++i) rest[i - 2] = values[i];
    var delay = values[1] > 0 && values[1] <= longestDelay ? +values[1] : 0;
    arm(++lastId, {call: values[0], delay: delay, values: rest, repeats: repeats, what: what});
    return lastId;
  }

  function clearTimer(id) {
    if (!timers[id]) return;
    delete timers[id];
    send({type: "clearTimer", id: +id});
  }

  // A timer that repeats is set anew each time it is called: a script that is slow is not called more often than it can
  // bear.
  function receiveTimers(message) {
    for (var i = 0; i < message.ids.length; ++i) {
      var timer = timers[message.ids[i]];
      if (!timer) continue;
      delete timers[message.ids[i]];
      if (timer.repeats) arm(message.ids[i], timer);
      run(timer.call, "a call of " + timer.what, timer.values);
    }
  }

  // ---- the console ----

  function consoleText(value) {
    try {
      if (toText(value) === "[object Object]") return textOf(stringify(value));
    } catch (ignored) {}
    return textOf(value);
  }

  function writeLine() {
    if (++consoleLines > consoleLimit) return;
    var text = "";
    for (var i = 0; i < arguments.length && text.length < textLimit; ++i) {
      text += (i > 0 ? " " : "") + consoleText(arguments[i]);
    }
    send({type: "log", message: textOf(text)});
  }

  // ---- the two worlds' names for it all ----

  var receivers = create(null);
  receivers.start = receiveStart;
  receivers.event = receiveEvent;
  receivers.finish = receiveFinish;
  receivers.timers = receiveTimers;
  receivers.reply = receiveReply;

  define(global, "omidReceive", {value: function (message) {
    var receiver = receivers[message.type];
    if (receiver) receiver(message);
    tellAll();
    if (isFinished) send({type: "finished"});
  }});

  function setTimeout() { return addTimer(arguments, false, "setTimeout"); }
  function setInterval() { return addTimer(arguments, true, "setInterval"); }

  global.omid3p = {
    registerSessionObserver: registerSessionObserver,
    addEventListener: addEventListener,
    sendUrl: function (address, succeeded, failed) { request("sendUrl", address, succeeded, failed); },
    injectJavaScriptResource: function (address, succeeded, failed) { request("loadScript", address, succeeded, failed); },
    setTimeout: setTimeout,
    clearTimeout: clearTimer,
    setInterval: setInterval,
    clearInterval: clearTimer,
    isSupported: function () { return true; }
  };
  global.setTimeout = setTimeout;
  global.clearTimeout = clearTimer;
  global.setInterval = setInterval;
  global.clearInterval = clearTimer;
  global.console = {};
  for (var i = 0; i < consoleNames.length; ++i) global.console[consoleNames[i]] = writeLine;
}(this));
