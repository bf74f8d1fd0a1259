// The script of the inspector page: it asks the server for a run, puts the fragments of HTML that the run makes
// where they belong, and plays its videos. What a fragment holds was escaped by the run.
"use strict";

const byId = (id) => document.getElementById(id);
const token = takeToken();
let run = null; // the last one

// --- the address

// The token is kept for this tab, and taken out of the address so that nobody reads it there.
function takeToken() {
  const address = new URL(location.href);
  const given = address.searchParams.get("token");
  if (given === null) return sessionStorage.getItem("token") ?? "";
  sessionStorage.setItem("token", given);
  address.searchParams.delete("token");
  history.replaceState(null, "", address);
  return given;
}

function showInAddress(url) {
  const address = new URL(location.href);
  if (url === undefined) address.searchParams.delete("url");
  else address.searchParams.set("url", url);
  history.replaceState(null, "", address);
}

// --- the server

function ask(path, body, signal) {
  const headers = token === "" ? {} : { "X-Inspector-Token": token };
  if (body === undefined) return fetch(path, { headers });
  headers["Content-Type"] = "application/json";
  return fetch(path, { method: "POST", headers, body: JSON.stringify(body), signal });
}

// Server-sent events: {name, data} each; comments, which keep the connection, are none.
async function* eventsOf(stream) {
  const reader = stream.pipeThrough(new TextDecoderStream()).getReader();
  let text = "";
  let searched = 0;
  for (;;) {
    const { done, value } = await reader.read();
    if (done) return;
    text += value;
    for (let end = text.indexOf("\n\n", searched); end >= 0; end = text.indexOf("\n\n")) {
      const event = eventOf(text.slice(0, end));
      if (event.data !== null) yield event;
      text = text.slice(end + 2);
    }
    searched = Math.max(0, text.length - 1);
  }
}

function eventOf(block) {
  const event = { name: "message", data: null };
  for (const line of block.split("\n")) {
    if (line.startsWith("event: ")) event.name = line.slice(7);
    if (line.startsWith("data: ")) event.data = line.slice(6);
  }
  return event;
}

// --- a run

class Run {
  constructor(command) {
    this.isPlayerHere = command === "play" && byId("player-kind").value === "browser";
    this.controller = new AbortController();
    this.id = null; // between the first event and the last one
    this.lines = []; // for the run, not yet sent
    this.isSending = false;
    this.report = null;
    this.begin = performance.now();
  }

  async start(request) {
    const response = await ask("/inspector/run", request, this.controller.signal);
    if (!response.ok) return (await response.text()).trim();
    for await (const event of eventsOf(response.body)) {
      const data = event.name === "note" ? event.data : objectOf(event.data);
      if (event.name === "end") {
        this.id = null;
        return data.problem;
      }
      if (event.name === "run") this.id = data.id;
      else if (event.name === "note") showNote(data);
      else if (event.name === "report") this.report = data.html;
      else this.take(data);
    }
    return "The connection to the server was lost.";
  }

  take(message) {
    if ("into" in message) byId(message.into)?.append(fragmentOf(message.html));
    else if ("replace" in message) byId(message.replace)?.replaceWith(fragmentOf(message.html));
    else if ("media" in message) media.obey(message);
    else if ("progress" in message) showProgress(message.progress);
  }

  // Lines that come while a request is under way go with the next one, so they keep their order.
  async say(line) {
    if (!this.isPlayerHere) return;
    this.lines.push(line);
    if (this.isSending || this.id === null) return;
    this.isSending = true;
    while (this.lines.length > 0 && this.id !== null && run === this) {
      const lines = this.lines.splice(0, 100);
      await ask(`/inspector/control?run=${this.id}`, { lines }).catch(() => {});
    }
    this.isSending = false;
  }
}

// A line that is no JSON object is shown, as it stands, among the messages.
function objectOf(text) {
  try {
    const value = JSON.parse(text);
    if (typeof value === "object" && value !== null) return value;
  } catch { /* below */ }
  showNote(text);
  return {};
}

function fragmentOf(html) {
  const template = document.createElement("template");
  template.innerHTML = html;
  for (const place of template.content.querySelectorAll("[data-picture]")) place.replaceWith(pictureOf(place));
  return template.content;
}

// Fetched when it is seen. Whoever has it at that address is not told of this page.
function pictureOf(place) {
  const picture = document.createElement("img");
  picture.className = "picture";
  picture.alt = "The picture of this creative";
  picture.loading = "lazy";
  picture.referrerPolicy = "no-referrer";
  picture.src = place.dataset.picture;
  return picture;
}

function requestOf(command) {
  const source = byId("source").value.trim();
  const request = { command, options: {} };
  request[source.startsWith("<") ? "xml" : "url"] = source;
  if (command === "play") request.simulated = byId("player-kind").value === "simulated";
  for (const field of byId("request").querySelectorAll("[name]")) {
    if (field.dataset.for === "play" && command !== "play") continue;
    if (field.name === "speed" && !request.simulated) continue;
    const lines = field.value.split("\n").map((line) => line.trim()).filter((line) => line !== "");
    if (field.type === "checkbox" ? field.checked : lines.length > 0)
      request.options[field.name] = field.type === "checkbox" ? true : lines;
  }
  return request;
}

async function begin(command) {
  stop();
  const request = requestOf(command);
  if ((request.url ?? request.xml) === "") {
    byId("source").focus();
    return show("Paste a URL or a document first.");
  }
  const mine = new Run(command);
  run = mine;
  showInAddress(request.url);
  clear();
  show(command === "play" ? "Playing …" : "Resolving …");
  let problem = "";
  try {
    problem = await mine.start(request);
  } catch (error) {
    problem = error.name === "AbortError" ? "Stopped." : `The server does not answer: ${error.message}`;
  }
  if (run !== mine) return; // another one has begun
  const verdict = document.querySelector("#verdict h2")?.textContent;
  show(problem || `${verdict}. Done in ${((performance.now() - mine.begin) / 1000).toFixed(1)} s.`);
  finish();
}

function stop() {
  run?.controller.abort();
}

// --- what is shown

function show(text) {
  byId("status").textContent = text;
}

function showNote(text) {
  byId("messages").hidden = false;
  const item = document.createElement("li");
  item.textContent = text;
  byId("notes").append(item);
}

function showProgress({ position, duration, ad }) {
  byId("player").hidden = false;
  byId("position").value = duration > 0 ? Math.min(1, position / duration) : 0;
  const whole = duration > 0 ? ` of ${duration.toFixed(1)}` : "";
  byId("time").textContent = `Ad ${ad}: ${position.toFixed(1)}${whole} s`;
}

function clear() {
  for (const id of ["result", "notes", "player-note", "time"]) byId(id).textContent = "";
  byId("messages").hidden = true;
  byId("player").hidden = true;
  byId("position").value = 0;
  byId("save").disabled = true;
  byId("stop").disabled = false;
  byId("examples").open = false;
  byId("result").setAttribute("aria-busy", "true");
  nameButtons();
  byId("viewer").hidden = !run.isPlayerHere;
  media.reset();
}

// Each ad begins neither paused nor muted, whatever was pressed in the one before.
function nameButtons() {
  byId("pause").textContent = "Pause";
  byId("mute").textContent = "Mute";
}

function finish() {
  media.reset();
  // Buttons that go would take the keyboard with them.
  const isGoing = byId("viewer").contains(document.activeElement) || document.activeElement === byId("stop");
  if (isGoing) byId("play").focus({ preventScroll: true });
  byId("stop").disabled = true;
  byId("save").disabled = run.report === null;
  byId("viewer").hidden = true;
  byId("result").removeAttribute("aria-busy");
}

function saveReport() {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([run.report], { type: "text/html" }));
  link.download = "vast-report.html";
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

// --- the video, which is the run's media player

const media = {
  video: byId("video"),
  isLoaded: false, // a file that has not ended, failed or been stopped
  isReady: false,
  isStarted: false,
  isSoundWanted: false, // no page begins to sound by itself

  obey(message) {
    if (message.media === "load") this.load(message.url);
    else if (message.media === "play") this.play();
    else if (message.media === "pause") this.video.pause();
    else if (message.media === "stop") this.unload();
    else if (message.media === "volume") this.setVolume(message.value);
    else if (message.media === "simulate") this.showSimulated(message.reason);
  },

  load(url) {
    byId("player").hidden = false;
    byId("player-note").textContent = "";
    nameButtons();
    this.video.hidden = false;
    Object.assign(this, { isLoaded: true, isReady: false, isStarted: false });
    this.video.src = url;
    this.video.load();
  },

  play() {
    if (!this.isLoaded) return;
    this.video.play().catch((error) => {
      if (error.name !== "AbortError") this.fail(error.message);
    });
  },

  setVolume(value) {
    this.video.volume = Math.min(1, Math.max(0, value));
    this.video.muted = value === 0 || !this.isSoundWanted;
  },

  unload() {
    this.isLoaded = false;
    this.video.pause();
    this.video.removeAttribute("src");
    this.video.load();
  },

  reset() {
    this.unload();
    this.isSoundWanted = false;
    this.video.muted = true;
  },

  fail(reason) {
    if (!this.isLoaded) return;
    this.unload();
    run?.say(`unplayable ${reason}`);
  },

  showSimulated(reason) {
    this.video.hidden = true;
    byId("player-note").textContent = `Simulated, since this browser does not play the file: ${reason}`;
  },

  tell(line) {
    if (this.isLoaded) run?.say(line);
  },

  listen() {
    const on = (name, handle) => this.video.addEventListener(name, handle);
    on("durationchange", () => {
      if (Number.isFinite(this.video.duration)) this.tell(`duration ${this.video.duration.toFixed(3)}`);
    });
    on("canplay", () => {
      if (!this.isReady) this.tell("ready");
      this.isReady = true;
    });
    on("playing", () => {
      if (!this.isStarted) this.tell("started");
      this.isStarted = true;
    });
    on("waiting", () => { if (this.isStarted) this.tell("stalled"); });
    on("ended", () => {
      this.tell(`position ${this.video.currentTime.toFixed(3)}`);
      this.tell("ended");
      this.isLoaded = false;
    });
    on("error", () => this.fail(this.video.error?.message || "it cannot be decoded or fetched"));
    setInterval(() => {
      if (this.isStarted && !this.video.paused) this.tell(`position ${this.video.currentTime.toFixed(3)}`);
    }, 250);
  },
};

// A button with two names, each of which is a line for the run.
function toggle(id, first, second, then = () => {}) {
  byId(id).addEventListener("click", () => {
    const isFirst = byId(id).textContent === first;
    run?.say((isFirst ? first : second).toLowerCase());
    byId(id).textContent = isFirst ? second : first;
    then(isFirst);
  });
}

// Browsers stop the videos of a page that is not seen, which the break would take for broken files: it pauses.
let isAway = false;
document.addEventListener("visibilitychange", () => {
  const isPaused = byId("pause").textContent === "Resume";
  const wasAway = isAway;
  isAway = document.hidden && media.isLoaded && !isPaused;
  if (isAway || (wasAway && isPaused)) byId("pause").click();
});

// --- samples and files

async function showSamples() {
  const response = await ask("/inspector/samples");
  const { samples, problem } = response.ok ? await response.json() : { samples: [], problem: await response.text() };
  byId("samples-problem").hidden = problem === "";
  byId("samples-problem").textContent = problem;
  for (const sample of samples) {
    const button = document.createElement("button");
    button.type = "button";
    button.textContent = sample.name;
    button.title = `${sample.path}: ${sample.description}`;
    button.addEventListener("click", () => {
      byId("source").value = location.origin + sample.path;
      begin("resolve");
    });
    byId("samples").append(button);
  }
}

async function openFile(event, file) {
  if (!file) return;
  event.preventDefault();
  byId("source").value = decoded(await file.arrayBuffer());
}

// A file tells by its first bytes, or in its declaration, what its characters are.
function decoded(bytes) {
  const start = new TextDecoder("latin1").decode(bytes.slice(0, 200));
  const order = { "\u00fe\u00ff": "utf-16be", "\u00ff\u00fe": "utf-16le" }[start.slice(0, 2)];
  const declared = /^<\?xml[^>]*?\sencoding\s*=\s*["']([\w.-]+)/.exec(start)?.[1];
  try {
    return new TextDecoder(order ?? declared).decode(bytes);
  } catch {
    return new TextDecoder().decode(bytes); // of a name that nobody knows
  }
}

// --- the beginning

byId("request").addEventListener("submit", (event) => {
  event.preventDefault();
  begin("resolve");
});
byId("source").addEventListener("keydown", (event) => {
  if (event.key === "Enter" && (event.ctrlKey || event.metaKey)) byId("request").requestSubmit();
});
byId("play").addEventListener("click", () => begin("play"));
byId("stop").addEventListener("click", stop);
byId("save").addEventListener("click", saveReport);
byId("file").addEventListener("change", (event) => openFile(event, event.target.files[0]));
byId("source").addEventListener("dragover", (event) => event.preventDefault());
byId("source").addEventListener("drop", (event) => openFile(event, event.dataTransfer.files[0]));
toggle("pause", "Pause", "Resume");
toggle("mute", "Mute", "Unmute", (isMuted) => {
  media.isSoundWanted = !isMuted;
});
byId("click").addEventListener("click", () => run?.say("click"));
byId("skip").addEventListener("click", () => run?.say("skip"));
media.listen();
// A link to this page fills the field; only a person starts a run.
byId("source").value = new URL(location.href).searchParams.get("url") ?? "";
showSamples();
