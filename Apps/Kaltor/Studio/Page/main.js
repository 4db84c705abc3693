// The page as a whole: loads what the server knows, puts the views together, and has the actions that they share.
import { get, getJson, kPage, post } from "./api.js";
import { clamp, drag, h, later, setStyle, store } from "./dom.js";
import { ask, askText, chooseFile, showCopy, showExport, showShortcuts } from "./dialogs.js";
import { icon } from "./icons.js";
import { makeInspector } from "./inspector.js";
import { makeLibrary } from "./library.js";
import { Catalogue, clipAt, fileName, placeForClip, shortTime, splitClip, tidy } from "./model.js";
import { makeShaderEditor } from "./shader.js";
import { getAt, insertAt, moveIn, pathOf, samePath, setAt, State } from "./state.js";
import { strings } from "./strings.js";
import { makeTimeline } from "./timeline.js";
import { makeViewer } from "./viewer.js";

const $ = (id) => document.getElementById(id);
const state = new State({ width: store.get("studio-width", 640), facts: {}, plan: null, problem: null, pictureProblem: null, playing: false, path: null, saveState: "saved" });

const app = {
    state,
    session: null,
    schema: null,
    catalogue: null,
    dragged: null,
    chooseFile,
    rate() {
        const [number, parts] = state.get("plan")?.rate ?? [25, 1];
        return number / parts;
    },
};

// Messages.

app.announce = (text) => {
    $("announcer").textContent = "";
    requestAnimationFrame(() => ($("announcer").textContent = text));
};
app.toast = (text, kind = "info", action = null) => {
    const toast = h("div", { class: `toast ${kind}` }, icon(kind === "error" ? "warning" : "check", 18), h("span", {}, text), action ? h("button", { type: "button", class: "button quiet", onclick: () => { action.run(); toast.remove(); } }, action.label) : null);
    while ($("toasts").children.length > 2) $("toasts").firstChild.remove();
    $("toasts").append(toast);
    setTimeout(() => toast.classList.add("leaving"), kind === "error" ? 7000 : 3200);
    setTimeout(() => toast.remove(), kind === "error" ? 7400 : 3600);
};
const undoAction = { label: strings.actions.undo, run: () => undo() };

// Facts of files, asked for once each.

const asked = new Set();
app.factsOf = (file) => {
    if (file === undefined || file === null || file === "") return null;
    const found = state.get("facts")[file];
    if (!found && !asked.has(file)) {
        asked.add(file);
        getJson("probe", { file })
            .then((probe) => ({ ...probe, picture: probe.still, rate: probe.rate ? probe.rate[0] / probe.rate[1] : null }))
            .catch((error) => ({ missing: true, error: error.message }))
            .then((probe) => state.set({ facts: { ...state.get("facts"), [file]: probe } }));
    }
    return found ?? null;
};
function forgetMissing() {
    const facts = { ...state.get("facts") };
    for (const [file, probe] of Object.entries(facts)) {
        if (!probe.missing) continue;
        delete facts[file];
        asked.delete(file);
    }
    state.set({ facts });
}

// The plan follows the document: one request at a time, and the newest document next.

let planning = false;
let planAgain = false;
async function plan() {
    if (planning) {
        planAgain = true;
        return;
    }
    planning = true;
    const document_ = state.document;
    try {
        if (!document_.clips.length) state.set({ plan: null, planned: document_, problem: null });
        else {
            const found = await post("plan", document_);
            const time = Math.min(state.get("time"), Math.max(0, (found.frames - 1) * (found.rate[1] / found.rate[0])));
            state.set({ plan: found, planned: document_, problem: null, pictureProblem: null, time });
        }
    } catch (error) {
        if (error.status) {
            state.set({ problem: { error: error.message, place: error.place } });
            forgetMissing();
        } else {
            state.set({ problem: { error: strings.viewer.noServer, place: null } });
        }
    }
    planning = false;
    if (planAgain || state.document !== document_) {
        planAgain = false;
        plan();
    }
}
app.replan = plan;

// Time.

app.seek = (seconds, doesRound = true) => {
    const found = state.get("plan");
    if (!found) return;
    const rate = app.rate();
    const last = Math.max(0, found.frames - 1);
    const frame = clamp(doesRound ? Math.round(Math.min(seconds, found.seconds) * rate) : Math.floor(seconds * rate + 1e-6), 0, last);
    if (state.get("playing")) viewer.player.pause();
    state.set({ time: frame / rate });
};
app.seekFrame = (frame) => app.seek(frame / app.rate());
app.step = (way) => app.seek(state.get("time") + way / app.rate());

// What the points on the picture belong to: the selected effect, or the one in hand.

app.setActiveEffect = (path) => state.set({ active: path });
app.activePath = () => {
    const active = state.get("active");
    const selection = state.get("selection");
    if (active && selection && samePath(active.slice(0, 2), selection.slice(0, 2)) && getAt(state.document, active)) return active;
    // A clip with one effect: its points, without a further click.
    const own = selection?.length === 2 && selection[0] === "clips" ? getAt(state.document, selection) : null;
    return own?.effects?.length === 1 ? [...selection, "effects", 0] : null;
};
state.on(["selection"], () => {
    const selection = state.get("selection");
    state.set({ active: selection?.includes("effects") ? selection : null });
});

// Steps.

app.removeAt = (path) => {
    if (!path || getAt(state.document, path) === undefined) return;
    const list = path.slice(0, -1);
    const isItem = path.length === 2;
    const last = isItem ? state.document[path[0]].length - 2 : -1;
    const owner = ["clips", "overlays", "sounds"].includes(path[0]) ? path.slice(0, 2) : null;
    const select = !isItem ? owner : last < 0 ? null : [path[0], Math.min(path[1], last)];
    state.change(strings.steps.remove, (document_) => {
        const result = setAt(document_, path, undefined);
        // An edit has its list of clips, also an empty one.
        const isEmpty = list.join() !== "clips" && Array.isArray(getAt(result, list)) && getAt(result, list).length === 0;
        return isEmpty ? setAt(result, list, undefined) : result;
    }, { select });
    app.announce(strings.said.removed);
};

app.duplicate = (path) => {
    if (!path || path.length < 2 || !["clips", "overlays", "sounds", "subtitles"].includes(path[0])) return;
    const [list, index] = path;
    state.change(strings.steps.duplicate, (document_) => insertAt(document_, [list], index + 1, getAt(document_, [list, index])), { select: [list, index + 1] });
};

app.moveClip = (from, to) => {
    timeline.focusItem(["clips", to]);
    state.change(strings.steps.order, (document_) => moveIn(document_, ["clips"], from, to), { select: ["clips", to] });
    app.announce(strings.said.moved(to + 1, state.document.clips.length));
};

app.split = () => {
    const found = state.get("plan");
    if (!found) return;
    const selection = state.get("selection");
    const selected = selection?.[0] === "clips" ? found.clips.find((clip) => clip.index === selection[1]) : null;
    const time = state.get("time");
    const clip = selected && time > selected.start && time < selected.end ? selected : clipAt(found, time);
    const next = clip && splitClip(state.document, found, clip.index, time);
    if (!next) {
        app.toast(strings.said.noSplit);
        return;
    }
    state.change(strings.steps.split, () => next, { select: ["clips", clip.index + 1] });
    app.announce(strings.said.split);
};

app.trimTo = (edge) => {
    const found = state.get("plan");
    const selection = state.get("selection");
    if (!found || !selection) return;
    const clip = selection[0] === "clips" ? found.clips.find((item) => item.index === selection[1]) : null;
    const time = state.get("time");
    if (!clip || time <= clip.start || time >= clip.end) return;
    const split = splitClip(state.document, found, clip.index, time);
    if (!split) return;
    const gone = edge === "start" ? clip.index : clip.index + 1;
    const joint = state.document.clips[clip.index].joint;
    state.change(strings.steps.trim, () => {
        const rest = setAt(split, ["clips", gone], undefined);
        return edge === "end" ? setAt(rest, ["clips", clip.index, "joint"], joint) : rest;
    }, { select: ["clips", clip.index] });
    if (edge === "start") app.seek(clip.start);
};

app.setTransition = (path, name) => {
    state.change(strings.steps.transition, (document_) => {
        const before = getAt(document_, path);
        if (name === undefined || typeof name === "object") return setAt(document_, path, name);
        const kept = Object.fromEntries(["duration", "easing", "background"].filter((key) => before?.[key] !== undefined).map((key) => [key, before[key]]));
        const duration = kept.duration ?? (path[2] === "joint" ? fittingDuration(path[1]) : path[0] === "overlays" ? 0.4 : 1);
        return setAt(document_, path, { transition: name, ...kept, duration });
    });
};

/** As long as a joint may be without covering more than half of its clips. */
function fittingDuration(index) {
    const clips = state.get("plan")?.clips.filter((clip) => clip.index === index || clip.index === index + 1) ?? [];
    const least = Math.min(...clips.map((clip) => clip.end - clip.start), 2.4);
    return tidy(Math.max(2 / app.rate(), Math.min(1, Math.floor((least / 2.4) * 10) / 10)));
}

app.applyEntry = (entry, where = null) => {
    const name = app.catalogue.find(entry.kind, entry.name) ? app.catalogue.writtenName(app.catalogue.find(entry.kind, entry.name)) : entry.name;
    const title = entry.title;
    const selection = state.get("selection");
    const clips = state.document.clips;
    if (!clips.length) {
        app.toast(strings.said.noClips);
        return;
    }
    if (entry.kind === "transition") {
        if (!where && (selection?.[0] === "opening" || selection?.[0] === "closing")) where = { path: [selection[0]] };
        if (clips.length < 2) {
            app.toast(strings.said.noJoint);
            return;
        }
        let index = where?.joint;
        if (index === undefined) {
            if (selection?.[0] === "clips") index = Math.min(selection[1], clips.length - 2);
            else index = Math.min(clipAt(state.get("plan"), state.get("time"))?.index ?? 0, clips.length - 2);
        }
        const path = ["clips", index, "joint"];
        app.setTransition(path, name);
        state.set({ selection: path });
        app.toast(strings.said.joined(title, index + 1), "info", undoAction);
        const span = state.get("plan")?.clips.find((clip) => clip.index === index);
        if (span) later(150, () => {
            const joint = state.get("plan")?.joints.find((item) => item.index === index);
            if (joint && !state.get("playing")) app.seek((joint.start + joint.end) / 2);
        })();
        return;
    }
    let target = where?.target;
    if (!target) {
        if (selection && (selection[0] === "clips" || selection[0] === "overlays")) target = selection.slice(0, 2);
        else if (selection?.[0] === "effects") target = [];
        else target = ["clips", clipAt(state.get("plan"), state.get("time"))?.index ?? 0];
    }
    const list = [...target, "effects"];
    const at = (getAt(state.document, list) ?? []).length;
    state.change(strings.steps.effect(title), (document_) => insertAt(document_, list, at, { effect: name }), { select: [...list, at] });
    app.toast(strings.said.added(title, target.length ? strings.said.to(target[0], target[1] + 1) : strings.said.toAll), "info", undoAction);
    // What is set should be seen.
    const span = target[0] === "clips" ? state.get("plan")?.clips.find((clip) => clip.index === target[1]) : null;
    if (span && !state.get("playing") && (state.get("time") < span.start || state.get("time") >= span.end)) app.seek((span.start + span.end) / 2);
};

app.addFile = (file, kind, place = null) => {
    const time = tidy(place?.time ?? state.get("time"));
    if (kind === "shader") {
        app.editShader({ name: file }, file);
    } else if (kind === "subtitles") {
        state.change(strings.steps.add, (document_) => insertAt(document_, ["subtitles"], (document_.subtitles ?? []).length, { file }), { select: ["subtitles", (state.document.subtitles ?? []).length] });
    } else if (kind === "sound") {
        const item = { file, ...(time > 0 ? { from: time } : {}) };
        state.change(strings.steps.add, (document_) => insertAt(document_, ["sounds"], (document_.sounds ?? []).length, item), { select: ["sounds", (state.document.sounds ?? []).length] });
    } else if (kind === "overlay") {
        const item = { file, ...(time > 0 ? { from: time } : {}), to: tidy(Math.min(time + 4, Math.max(state.get("plan")?.seconds ?? 4, time + 0.5))), anchor: "bottom-right", x: -0.04, y: -0.06, width: 0.3 };
        state.change(strings.steps.add, (document_) => insertAt(document_, ["overlays"], (document_.overlays ?? []).length, item), { select: ["overlays", (state.document.overlays ?? []).length] });
    } else {
        const index = place?.index ?? placeForClip(state.document, state.get("selection"));
        state.change(strings.steps.add, (document_) => insertAt(document_, ["clips"], index, { file, ...(kind === "picture" ? { duration: 4 } : {}) }), { select: ["clips", index] });
    }
    if (kind !== "shader") app.announce(strings.said.addedFile(fileName(file)));
};

app.addTitle = (preset = null, place = null) => {
    const time = tidy(place?.time ?? state.get("time"));
    const title = { ...(preset?.title ?? { style: "title", animation: "fade" }), text: strings.titles[preset?.id ?? "title"].text };
    if (!state.document.clips.length) {
        state.change(strings.steps.title, (document_) => insertAt(document_, ["clips"], 0, { title, background: "#202430", duration: 4 }), { select: ["clips", 0] });
        return;
    }
    const end = state.get("plan")?.seconds ?? time + 3;
    const from = time > end - 0.5 ? Math.max(0, tidy(end - 3)) : time;
    const item = { title, ...(from > 0 ? { from } : {}), to: tidy(Math.min(from + 3, end)) };
    state.change(strings.steps.title, (document_) => insertAt(document_, ["overlays"], (document_.overlays ?? []).length, item), { select: ["overlays", (state.document.overlays ?? []).length] });
    later(60, () => $("inspector").querySelector("textarea")?.select())();
};

app.drop = (dragged, place) => {
    if (dragged.kind === "effect" || dragged.kind === "transition") app.applyEntry(dragged.entry, place);
    else if (dragged.kind === "title") app.addTitle(dragged.preset, place);
    else if (place.list === "overlays") app.addFile(dragged.name, dragged.type === "subtitles" ? "subtitles" : "overlay", place);
    else if (place.list === "sounds") app.addFile(dragged.name, "sound", place);
    else app.addFile(dragged.name, dragged.type, place);
};

// Shader files.

app.editShader = async (entry, written) => {
    const path = entry.file && !entry.file.startsWith("/") ? entry.file : written;
    openShader({ path, isKnown: true, kind: entry.kind ?? "effect" });
};
app.newShader = async (kind) => {
    const name = await askText(strings.shader.newTitle, strings.shader.fileName, kind === "effect" ? "my-effect.glsl" : "my-transition.glsl", strings.shader.fileHelp);
    if (name) openShader({ path: name.endsWith(".glsl") ? name : `${name}.glsl`, isKnown: false, kind });
};
function openShader(file) {
    document.body.classList.add("editing-shader");
    makeShaderEditor($("shader"), app, file);
}
app.shaderClosed = () => document.body.classList.remove("editing-shader");
app.shaderSaved = (entry) => {
    app.catalogue.add(entry);
    state.set({ catalogue: {} });
    plan();
};

// Undo, redo, saving.

function undo() {
    const what = state.undo();
    app.announce(what ? strings.said.undone(what) : strings.said.nothingToUndo);
}
function redo() {
    const what = state.redo();
    app.announce(what ? strings.said.redone(what) : strings.said.nothingToRedo);
}

async function save(as = false) {
    let path = state.get("path");
    if (as || !path) {
        path = await askText(strings.saving.title, strings.saving.name, path ?? "edit.json", strings.saving.help);
        if (!path) return false;
        if (!path.endsWith(".json")) path += ".json";
    }
    const document_ = state.document;
    const isOwn = path === state.get("path");
    const send = (overwrite) =>
        inTurn(async () => {
            const answer = await post("save", { document: document_, path, revision: isOwn ? state.get("revision") : null, copy, page: kPage, overwrite });
            copy = null;
            isAdopted = false;
            state.set({ saved: document_, path: answer.path ?? path, revision: answer.revision ?? null, saveState: "saved" });
            return answer;
        });
    try {
        let answer;
        try {
            answer = await send(false);
        } catch (error) {
            if (error.status !== 409) throw error;
            const choice = await ask(strings.saving.overwriteTitle, error.message, [
                { label: strings.actions.cancel, value: "" },
                { label: strings.saving.overwrite, value: "yes", danger: true },
            ]);
            if (!choice) return false;
            answer = await send(true);
        }
        app.announce(strings.saving.saved(answer.path ?? path));
        library.reload();
        return true;
    } catch (error) {
        if (error.place) app.reveal(error.place);
        app.toast(error.message, "error");
        return false;
    }
}

// The mark of this page's own copy: another page or studio may keep one of the same edit. One request at a time, since
// each changes the mark; one that fails does not keep the others from being sent.
let copy = null;
// The copy was there before this page: it goes only when what it holds is saved, not when its changes are undone.
let isAdopted = false;
let last = Promise.resolve();

function inTurn(task) {
    const done = last.then(task);
    last = done.catch(() => {});
    return done;
}

function keep() {
    inTurn(async () => {
        const isSaved = state.document === state.get("saved");
        if (isSaved && (copy === null || isAdopted)) {
            state.set({ saveState: "saved" });
            return;
        }
        try {
            const answer = await post("autosave", { document: isSaved ? null : state.document, path: state.get("path") ?? "", copy, page: kPage });
            copy = isSaved ? null : answer.copy;
            state.set({ saveState: isSaved ? "saved" : "autosaved" });
        } catch (error) {
            if (isSaved) return; // the copy that is not needed any more stays, and is offered
            if (error.status && state.get("saveState") !== "unsaved") app.toast(strings.saving.notKept(error.message), "error");
            state.set({ saveState: "unsaved" });
            keepAgain();
        }
    });
}
const autosave = later(1500, keep);
const keepAgain = later(5000, keep);

/** The page is open, and has its copy. What took that away, a hand or another page, costs nothing: there is another one. */
function sayOpen() {
    const mark = copy;
    get("alive", { page: kPage, copy: mark }).catch((error) => {
        if (error.status !== 404 || mark === null) return;
        inTurn(() => {
            if (copy === mark) copy = null;
        });
        keep();
    });
}

// A tab that is loaded again shows its own edit, also where another page has saved under another name since.
const kPathKey = `kaltor-path ${location.pathname}`;
function notePath() {
    try {
        sessionStorage.setItem(kPathKey, state.get("path") ?? "");
    } catch {
        // The page works without memory.
    }
}
function notedPath() {
    try {
        return sessionStorage.getItem(kPathKey);
    } catch {
        return null;
    }
}
async function openSession() {
    const path = notedPath();
    if (path === null) return getJson("session");
    return getJson("session", { path }).catch(() => getJson("session"));
}

// The page's frame: header, sizes of its parts, the narrow form.

app.showLibrary = (tab) => {
    showPart("library");
    library.show(tab);
    library.focusSearch();
};
app.focusInspector = () => {
    showPart("inspector");
    $("inspector").querySelector(".section-body input, .section-body select, .section-body textarea, .flat select")?.focus();
};
app.reveal = (place) => {
    const path = pathOf(place.startsWith("/") ? place : `/${place}`);
    const selection = ["clips", "overlays", "sounds", "subtitles"].includes(path[0]) && path.length > 1 ? (path[2] === "joint" ? path.slice(0, 3) : path[2] === "effects" && path.length > 3 ? path.slice(0, 4) : path.slice(0, 2)) : null;
    showPart("inspector");
    state.set({ selection });
    setTimeout(() => inspector.reveal(place.startsWith("/") ? place : `/${place}`), 60);
};
app.projectLine = () => {
    const found = state.get("plan");
    return found ? `${found.width}×${found.height} · ${strings.rate(tidy(app.rate(), 3))} · ${shortTime(found.seconds)}` : strings.names.noPlan;
};
app.libraryChanged = () => library.reload();
app.setExporting = (is) => document.body.classList.toggle("exporting", is);

function showPart(name) {
    document.body.dataset.part = name;
    for (const button of $("narrow").children) button.setAttribute("aria-selected", String(button.dataset.part === name));
}

function makeTop() {
    const plain = (name, label, keys, action, id) => h("button", { type: "button", id, class: "plain", title: `${label} (${keys})`, "aria-label": label, "aria-keyshortcuts": keys, onclick: action }, icon(name, 19));
    const name = h("button", { type: "button", class: "project-name", title: strings.saving.saveAs, onclick: () => save(true) });
    const mark = h("span", { class: "save-state", role: "status" });
    const undoButton = plain("undo", strings.actions.undo, "Control+Z", undo, "undo");
    const redoButton = plain("redo", strings.actions.redo, "Control+Shift+Z", redo, "redo");
    $("top").replaceChildren(
        h("div", { class: "brand" }, h("span", { class: "logo", "aria-hidden": "true" }), h("h1", {}, strings.name)),
        h("div", { class: "project" }, name, mark),
        h("div", { class: "top-tools" }, undoButton, redoButton),
        h("span", { class: "spacer" }),
        h("div", { class: "top-tools" },
            plain("copy", strings.copy.title, "Ctrl+Shift+C", () => showCopy(app), "copy"),
            h("button", { type: "button", id: "theme", class: "plain", "aria-label": strings.actions.theme, title: strings.actions.theme, onclick: switchTheme }, icon("theme", 19)),
            plain("help", strings.shortcuts.title, "?", showShortcuts, "help"),
            h("button", { type: "button", id: "save", class: "button", title: strings.saving.keys, onclick: () => save() }, icon("save", 17), h("span", {}, strings.actions.save)),
            h("button", { type: "button", id: "export", class: "button primary", title: strings.exporting.keys, onclick: () => state.document.clips.length && showExport(app) }, icon("export", 17), h("span", {}, strings.actions.export))),
    );
    const show = () => {
        const path = state.get("path");
        name.textContent = path ? fileName(path) : strings.saving.untitled;
        const isSaved = state.document === state.get("saved");
        const text = isSaved ? (path ? strings.saving.isSaved : "") : state.get("saveState") === "autosaved" ? strings.saving.isKept : strings.saving.isChanged;
        if (mark.textContent !== text) mark.textContent = text;
        mark.classList.toggle("changed", !isSaved);
        document.title = `${isSaved ? "" : "• "}${name.textContent} – ${strings.name}`;
        undoButton.disabled = state.undoStep === null;
        redoButton.disabled = state.redoStep === null;
        undoButton.title = state.undoStep ? strings.actions.undoStep(state.undoStep) : `${strings.actions.undo} (Ctrl+Z)`;
        redoButton.title = state.redoStep ? strings.actions.redoStep(state.redoStep) : `${strings.actions.redo} (Ctrl+Shift+Z)`;
    };
    state.on(["document", "history", "saved", "path", "saveState"], show);
    show();
}

function switchTheme() {
    const next = document.documentElement.dataset.theme === "dark" ? "light" : "dark";
    document.documentElement.dataset.theme = next;
    store.set("studio-theme", next);
    state.set({ theme: next });
}
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", ({ matches }) => {
    if (store.get("studio-theme")) return;
    document.documentElement.dataset.theme = matches ? "dark" : "light";
    state.set({ theme: matches });
});

/** The bars between the parts: with the pointer, and with the arrow keys. */
function makeSplitters() {
    const main = $("main");
    const make = (name, label, isUpright, limits, way) => {
        const otherwise = Number.parseFloat(getComputedStyle(main).getPropertyValue(`--${name}`));
        let size = store.get(`studio-${name}`, null) ?? otherwise;
        const most = () => Math.max(limits[0], Math.min(limits[1], (isUpright ? main.clientWidth * 0.4 : main.clientHeight * 0.7)));
        const bar = h("div", {
            class: `splitter splitter-${name}`,
            role: "separator",
            tabindex: "0",
            "aria-label": label,
            "aria-orientation": isUpright ? "vertical" : "horizontal",
            "aria-valuemin": limits[0],
            "aria-valuemax": limits[1],
            onpointerdown(event) {
                event.preventDefault();
                const start = size;
                drag(event, { move: (x, y) => set(start + way * (isUpright ? x : y)), end: () => store.set(`studio-${name}`, size) });
            },
            onkeydown(event) {
                const step = { ArrowLeft: isUpright ? -16 : 0, ArrowRight: isUpright ? 16 : 0, ArrowUp: isUpright ? 0 : -16, ArrowDown: isUpright ? 0 : 16 }[event.key];
                if (!step) return;
                event.preventDefault();
                event.stopPropagation();
                set(size + way * step);
                store.set(`studio-${name}`, size);
            },
            ondblclick() {
                set(otherwise);
                store.set(`studio-${name}`, null);
            },
        });
        function set(value) {
            size = clamp(value, limits[0], most());
            setStyle(main, { [`--${name}`]: `${size}px` });
            bar.setAttribute("aria-valuenow", Math.round(size));
        }
        if (store.get(`studio-${name}`, null) !== null) set(size);
        else bar.setAttribute("aria-valuenow", Math.round(size));
        main.append(bar);
    };
    make("library", strings.parts.librarySize, true, [220, 640], 1);
    make("inspector", strings.parts.inspectorSize, true, [280, 640], -1);
    make("timeline", strings.parts.timelineSize, false, [150, 900], -1);
}

function makeNarrow() {
    $("narrow").setAttribute("role", "tablist");
    $("narrow").setAttribute("aria-label", strings.parts.name);
    $("narrow").replaceChildren(...[["library", "media"], ["timeline", "film"], ["inspector", "settings"]].map(([part, name]) =>
        h("button", { type: "button", role: "tab", dataset: { part }, "aria-selected": "false", "aria-controls": part, onclick: () => showPart(part) }, icon(name, 20), h("span", {}, strings.parts[part]))));
    showPart("timeline");
}

// The keyboard.

function isTyping(target) {
    return target.closest("textarea, select, [contenteditable], input:not([type=range]):not([type=radio]):not([type=checkbox])") !== null;
}
document.addEventListener("keydown", (event) => {
    if (document.querySelector("dialog[open]")) return;
    const control = event.ctrlKey || event.metaKey;
    const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
    const act = (action) => {
        event.preventDefault();
        action();
    };
    if (control && !event.altKey) {
        const actions = { z: event.shiftKey ? redo : undo, y: redo, s: () => save(event.shiftKey), e: () => $("export").click(), d: () => app.duplicate(state.get("selection")), b: app.split };
        if (event.shiftKey && key === "c") return act(() => showCopy(app));
        // A text that is being typed has an undo of its own.
        if ((key === "z" || key === "y") && isTyping(event.target) && event.target.value !== event.target.defaultValue && event.target.matches("textarea, input[type=search]")) return undefined;
        return actions[key] ? act(actions[key]) : undefined;
    }
    if (isTyping(event.target)) {
        if (event.key === "Escape") event.target.blur();
        return undefined;
    }
    const isOnControl = event.target.closest("input, [role=slider], [role=separator], [role=tab], [role=spinbutton], summary") !== null;
    const onButton = event.target.closest("button, [role=button]") !== null;
    if (key === "?") return act(showShortcuts);
    if (key === "/") return act(() => {
        showPart("library");
        library.focusSearch();
    });
    if (event.altKey) return undefined;
    if (key === " ") return (onButton && !event.target.closest(".item, .joint")) || event.target.closest("input, summary") ? undefined : act(() => viewer.player.toggle());
    if (isOnControl && /^(Arrow|Home|End|Page)/.test(event.key)) return undefined;
    const actions = {
        ArrowLeft: () => app.step(event.shiftKey ? -Math.round(app.rate()) : -1),
        ArrowRight: () => app.step(event.shiftKey ? Math.round(app.rate()) : 1),
        Home: () => app.seek(0),
        End: () => app.seek(Infinity),
        Delete: () => app.removeAt(state.get("selection")),
        Backspace: () => app.removeAt(state.get("selection")),
        s: app.split,
        t: () => app.addTitle(),
        "[": () => app.trimTo("start"),
        "]": () => app.trimTo("end"),
        k: () => viewer.player.toggle(),
        j: () => app.step(-1),
        l: () => app.step(1),
        n: timeline.toggleSnap,
        f: viewer.toggleFull,
        "+": () => timeline.zoomBy(1.5),
        "=": () => timeline.zoomBy(1.5),
        "-": () => timeline.zoomBy(1 / 1.5),
        z: () => event.shiftKey && timeline.fit(),
        Escape: () => state.set({ selection: null }),
        1: () => { showPart("library"); document.querySelector("#library [role=tab][aria-selected=true]").focus(); },
        2: () => document.querySelector("#viewer .play").focus(),
        3: () => { showPart("inspector"); app.focusInspector(); },
        4: () => { showPart("timeline"); timeline.focus(); },
    };
    return actions[key] ? act(actions[key]) : undefined;
});

window.addEventListener("beforeunload", (event) => {
    if (state.document !== state.get("saved")) event.preventDefault();
});

let viewer;
let timeline;
let inspector;
let library;

async function start() {
    let catalogue;
    try {
        [app.session, catalogue, app.schema] = await Promise.all([openSession(), getJson("catalogue"), getJson("schema")]);
    } catch (error) {
        document.body.replaceChildren(h("div", { class: "fatal", role: "alert" }, icon("warning", 40), h("h1", {}, strings.viewer.noServer), h("p", {}, error.message), h("button", { type: "button", class: "button primary", onclick: () => location.reload() }, strings.actions.retry)));
        return;
    }
    app.catalogue = new Catalogue((Array.isArray(catalogue) ? catalogue : catalogue.entries).filter((entry) => entry.kind !== "service"));
    for (const [id, label] of Object.entries({ library: strings.library.name, viewer: strings.viewer.name, inspector: strings.inspector.name, timeline: strings.timeline.name, shader: strings.shader.name })) $(id).setAttribute("aria-label", label);
    state.open(app.session.document ?? { version: 1, clips: [] }, { path: app.session.path ?? null, revision: app.session.revision ?? null });
    viewer = makeViewer($("viewer"), app);
    timeline = makeTimeline($("timeline"), app);
    inspector = makeInspector($("inspector"), app);
    library = makeLibrary($("library"), app);
    app.viewer = viewer;
    makeTop();
    makeSplitters();
    makeNarrow();
    state.on(["document"], () => {
        plan();
        autosave();
    });
    state.on(["path"], notePath);
    notePath();
    state.on(["width"], () => store.set("studio-width", state.get("width")));
    inspector.update();
    sayOpen();
    setInterval(sayOpen, 5000);
    await plan();
    document.body.classList.add("ready");
    if (app.session.autosave) recover(app.session.autosave);
    window.addEventListener("pageshow", sayOpen);
    window.addEventListener("pagehide", () => get("alive", { page: kPage, closed: 1 }, { keepalive: true }).catch(() => {}));
    window.addEventListener("focus", () => {
        if (Object.values(state.get("facts")).some((probe) => probe.missing) || state.get("problem")) {
            forgetMissing();
            plan();
        }
    });
}

async function recover({ document: kept, time, copy: mark, open: isOpen }) {
    const choice = await ask(strings.saving.recoverTitle, strings.saving.recoverText(time ? new Date(typeof time === "number" ? time * 1000 : time).toLocaleString() : "", isOpen), [
        ...(isOpen ? [] : [{ label: strings.saving.removeCopy, value: "remove", danger: true }]),
        { label: strings.saving.ignore, value: "" },
        { label: strings.saving.recover, value: "take", primary: true },
    ]);
    if (choice === "take") {
        // Where another page keeps it, the server begins another copy.
        isAdopted = copy === null;
        copy ??= mark;
        state.change(strings.steps.recover, () => kept);
    } else if (choice === "remove") post("autosave", { document: null, copy: mark, page: kPage }).catch((error) => app.toast(error.message, "error"));
}

start();

// For the console of the browser.
window.studio = app;
