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
  delete global.postToHost;

  var historyLimit = 256;
  var addressLimit = 16384;
  var mediaEvents = [
    "start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "pause", "resume", "bufferStart",
    "bufferFinish", "skipped", "volumeChange", "playerStateChange", "adUserInteraction"
  ];

  var adSessionId = null;
  var sessionStart = null;
  var vendorKey;
  var verificationParameters;
  var isFinished = false;
  var observers = [];
  var listeners = create(null);
  var sessionErrors = [];
  var history = [];
  var hasImpression = false;
  var geometryChange = null;
  var lastId = 0;
  var timers = create(null);
  var replies = create(null);

  function send(message) {
    post(stringify(message));
  }

  function report(what, error) {
    var text = "an error without a text";
    try {
      text = toText(error);
    } catch (ignored) {}
    send({type: "error", message: what + ": " + text});
  }

  function isFunction(value, what) {
    if (typeof value === "function") return true;
    report(what, "a function is needed, not a value of type " + typeof value);
    return false;
  }

  function run(call, what, argument) {
    try {
      call(argument);
    } catch (error) {
      report(what, error);
    }
  }

  function contains(list, value) {
    for (var i = 0; i < list.length; ++i) {
      if (list[i] === value) return true;
    }
    return false;
  }

  function keep(list, event) {
    if (list.length < historyLimit) list[list.length] = event;
  }

  // ---- events ----

  function deliver(event, listener, data) {
    if (!event.isHeard) {
      event.isHeard = true;
      send({type: "heard", event: event.type, time: event.timestamp});
    }
    run(listener, "a listener of " + event.type,
        {adSessionId: adSessionId, timestamp: event.timestamp, type: event.type, data: data});
  }

  // To those that are registered now: whoever registers meanwhile hears the event as a replay.
  function deliverToAll(event, list) {
    for (var i = 0, count = list.length; i < count; ++i) deliver(event, list[i], event.data);
  }

  function startData(forVendor) {
    var data = {};
    for (var name in sessionStart.data) data[name] = sessionStart.data[name];
    if (forVendor && verificationParameters !== undefined) data.verificationParameters = verificationParameters;
    return data;
  }

  function deliverStart(observer) {
    deliver(sessionStart, observer.call, startData(observer.vendorKey === undefined || observer.vendorKey === vendorKey));
  }

  function receiveStart(message) {
    if (sessionStart) return;
    adSessionId = message.adSessionId;
    vendorKey = message.vendorKey;
    verificationParameters = message.verificationParameters;
    sessionStart = {type: "sessionStart", timestamp: message.timestamp, data: message.data};
    var context = sessionStart.data.context;
    context.omidJsInfo = {omidImplementer: "VKTCoreKit", serviceVersion: context.app.libraryVersion};
    for (var i = 0, count = observers.length; i < count; ++i) deliverStart(observers[i]);
  }

  function observerCalls() {
    var calls = [];
    for (var i = 0; i < observers.length; ++i) calls[i] = observers[i].call;
    return calls;
  }

  function receiveEvent(message) {
    if (!sessionStart || isFinished) return;
    var event = {type: message.event, timestamp: message.timestamp, data: message.data};
    if (event.type === "sessionError") {
      keep(sessionErrors, event);
      deliverToAll(event, observerCalls());
      return;
    }
    if (event.type === "impression") {
      if (hasImpression) return;
      hasImpression = true;
    }
    if (event.type === "geometryChange") geometryChange = event;
    else keep(history, event);
    deliverToAll(event, listeners[event.type] || []);
  }

  function receiveFinish(message) {
    if (sessionStart && !isFinished) {
      isFinished = true;
      deliverToAll({type: "sessionFinish", timestamp: message.timestamp, data: {}}, observerCalls());
    }
    send({type: "finished"});
  }

  function registerSessionObserver(call, key) {
    if (isFinished || !isFunction(call, "registerSessionObserver") || contains(observerCalls(), call)) return;
    var observer = {call: call, vendorKey: typeof key === "string" ? key : undefined};
    observers[observers.length] = observer;
    if (!sessionStart) return;
    deliverStart(observer);
    for (var i = 0; i < sessionErrors.length; ++i) deliver(sessionErrors[i], call, sessionErrors[i].data);
  }

  function addEventListener(type, listener) {
    if (typeof type !== "string") {
      report("addEventListener", "the event's type must be a string");
      return;
    }
    if (isFinished || !isFunction(listener, "addEventListener")) return;
    var types = type === "media" || type === "video" ? mediaEvents : [type];
    var added = [];
    for (var i = 0; i < types.length; ++i) {
      var list = listeners[types[i]] || (listeners[types[i]] = []);
      if (contains(list, listener)) continue;
      list[list.length] = listener;
      added[added.length] = types[i];
    }
    for (i = 0; i < history.length; ++i) {
      if (contains(added, history[i].type)) deliver(history[i], listener, history[i].data);
    }
    if (geometryChange && contains(added, "geometryChange")) deliver(geometryChange, listener, geometryChange.data);
  }

  // ---- addresses and timers ----

  // Sends a request and keeps what to call with its outcome.
  function request(type, address, succeeded, failed) {
    if (typeof address !== "string" || address.length > addressLimit) {
      report(type, "the address must be a string of at most " + addressLimit + " characters");
      if (typeof failed === "function") run(failed, type);
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
    if (typeof call === "function") run(call, "a callback of " + reply.what);
  }

  function arm(id, timer) {
    timers[id] = timer;
    send({type: "setTimer", id: id, delay: timer.delay});
  }

  function addTimer(call, delay, repeats, what) {
    if (!isFunction(call, what)) return 0;
    arm(++lastId, {call: call, delay: delay > 0 && delay < 1e9 ? +delay : 0, repeats: repeats, what: what});
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
      run(timer.call, "a call of " + timer.what);
    }
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
  }});

  function setTimeout(call, delay) { return addTimer(call, delay, false, "setTimeout"); }
  function setInterval(call, delay) { return addTimer(call, delay, true, "setInterval"); }

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
}(this));
