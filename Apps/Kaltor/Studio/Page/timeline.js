// The video from left to right: clips with their joints, what lies above them, subtitles and sounds.
import { getJson, thumbnailUrl } from "./api.js";
import { isCurve } from "./curves.js";
import { clamp, drag, h, perFrame, setStyle, store } from "./dom.js";
import { icon } from "./icons.js";
import { keysOf } from "./keyframes.js";
import { nameOf, parseTime, shortTime, spanOf, tidy, timecode, trimClip, trimSpan } from "./model.js";
import { getAt, moveIn, pointer, samePath, setAt } from "./state.js";
import { strings } from "./strings.js";

const kThumbHeight = 54;
const kSnap = 8;  // pixels
const kLeft = 12;  // before the first frame, so that its edge can be taken
const kThumbsKept = 600;

export function makeTimeline(root, app) {
    const { state } = app;
    let scale = 60;  // pixels a second
    let isFitted = true;
    let snaps = store.get("studio-snap", true);

    const small = (name, label, keys, action) =>
        h("button", { type: "button", class: "plain", title: keys ? `${label} (${keys})` : label, "aria-label": label, "aria-keyshortcuts": keys || null, onclick: action }, icon(name, 18));
    const snap = h("button", { type: "button", class: "plain toggle", title: `${strings.timeline.snap} (N)`, "aria-label": strings.timeline.snap, onclick: () => setSnap(!snaps) }, icon("snap", 18));
    const zoom = h("input", { type: "range", class: "zoom", min: 0, max: 1, step: 0.001, "aria-label": strings.timeline.zoom, oninput: () => setScale(5 * 160 ** Number(zoom.value)) });
    const status = h("span", { class: "muted timeline-status" });
    const bar = h(
        "div",
        { class: "timeline-tools", role: "toolbar", "aria-label": strings.timeline.tools },
        small("split", strings.actions.split, "S", app.split),
        small("duplicate", strings.actions.duplicate, "Ctrl+D", () => app.duplicate(state.get("selection"))),
        small("trash", strings.actions.remove, "Delete", () => app.removeAt(state.get("selection"))),
        h("span", { class: "divider" }),
        snap,
        h("span", { class: "divider" }),
        h("button", { type: "button", class: "button quiet", onclick: () => app.addTitle() }, icon("titles", 16), strings.timeline.addTitle),
        h("button", { type: "button", class: "button quiet", onclick: () => app.showLibrary("media") }, icon("plus", 16), strings.timeline.addMedia),
        status,
        h("span", { class: "spacer" }),
        small("zoomOut", strings.timeline.zoomOut, "-", () => setScale(scale / 1.5)),
        zoom,
        small("zoomIn", strings.timeline.zoomIn, "+", () => setScale(scale * 1.5)),
        small("fit", strings.timeline.fit, "Shift+Z", () => fit()),
    );
    const ruler = h("canvas", { class: "ruler", height: 26, "aria-hidden": "true" });
    const tracks = h("div", { class: "tracks" });
    const playhead = h("div", { class: "playhead", "aria-hidden": "true" }, h("span", {}));
    const snapLine = h("div", { class: "snap-line", hidden: true });
    const dropMark = h("div", { class: "drop-mark", hidden: true });
    const content = h("div", { class: "timeline-content" }, h("div", { class: "ruler-box" }, ruler), tracks, snapLine, dropMark, playhead);
    const labels = h("div", { class: "track-labels" });
    const scroller = h("div", { class: "timeline-scroller", tabindex: "-1" }, labels, content);
    root.replaceChildren(bar, scroller);

    const rate = () => app.rate();
    const toX = (seconds) => kLeft + seconds * scale;
    const toSeconds = (x) => (x - kLeft) / scale;
    const labelWidth = () => labels.offsetWidth;
    const viewWidth = () => scroller.clientWidth - labelWidth();

    function setSnap(value) {
        snaps = value;
        store.set("studio-snap", value);
        snap.setAttribute("aria-pressed", String(value));
    }
    setSnap(snaps);

    function setScale(value, around = state.get("time")) {
        const before = toX(around) - scroller.scrollLeft;
        scale = clamp(value, 2, 800);
        isFitted = false;
        build();
        scroller.scrollLeft = toX(around) - before;
        draw();
    }
    function fit() {
        const plan = state.get("plan");
        if (!plan) return;
        for (let turn = 0; turn < 2; ++turn) {
            // The labels of the first turn take room.
            const width = viewWidth();
            scale = clamp((width - kLeft - 40) / Math.max(plan.seconds, 0.5), 2, 800);
            isFitted = true;
            build();
            if (viewWidth() === width) break;
        }
    }

    // Times that edges snap to.
    function stops(except) {
        const plan = state.get("plan");
        const all = [0, state.get("time")];
        const spans = [...plan.clips, ...plan.overlays, ...(plan.titles ?? []), ...plan.sounds].filter((span) => span.place !== except);
        for (const { start, end } of spans) all.push(start, end);
        return all;
    }
    /** The way to go so that one of these edges meets a stop nearby; shows where. */
    function snapped(way, edges, candidates, isFree) {
        snapLine.hidden = true;
        const whole = Math.round(way * rate()) / rate();
        if (!snaps || isFree) return whole;
        let best = null;
        for (const edge of edges) {
            for (const stop of candidates) {
                const distance = Math.abs(edge + way - stop) * scale;
                if (distance < kSnap && (best === null || distance < best.distance)) best = { distance, way: stop - edge, stop };
            }
        }
        if (!best) return whole;
        snapLine.hidden = false;
        setStyle(snapLine, { left: `${toX(best.stop)}px` });
        return best.way;
    }

    // Thumbnails and waveforms are drawn where they are seen, from pictures and peaks that are kept.
    const thumbs = new Map();
    function thumb(file, time) {
        const url = thumbnailUrl(file, time, kThumbHeight * (devicePixelRatio > 1 ? 2 : 1));
        let found = thumbs.get(url);
        if (!found) {
            found = { picture: null };
            thumbs.set(url, found);
            if (thumbs.size > kThumbsKept) thumbs.delete(thumbs.keys().next().value);
            const image = new Image();
            image.onload = () => {
                found.picture = image;
                draw();
            };
            image.src = url;
        }
        return found.picture;
    }
    const waves = new Map();
    function wave(file) {
        if (!waves.has(file)) {
            waves.set(file, null);
            const seconds = app.factsOf(file)?.seconds || 60;
            getJson("waveform", { file, points: Math.round(clamp(seconds * 50, 200, 20000)) })
                .then((found) => {
                    waves.set(file, found);
                    draw();
                })
                .catch(() => waves.set(file, { seconds: 1, peaks: [] }));
        }
        return waves.get(file);
    }

    let items = [];

    function drawStrip(canvas, left, width, paint) {
        const from = Math.max(0, scroller.scrollLeft - left - 100);
        const to = Math.min(width, scroller.scrollLeft + viewWidth() - left + 100);
        const isSeen = to > from;
        canvas.hidden = !isSeen;
        if (!isSeen) return;
        const ratio = devicePixelRatio || 1;
        const height = canvas.clientHeight || kThumbHeight;
        const pixels = [Math.max(1, Math.round((to - from) * ratio)), Math.max(1, Math.round(height * ratio))];
        if (canvas.width !== pixels[0]) canvas.width = pixels[0];
        if (canvas.height !== pixels[1]) canvas.height = pixels[1];
        setStyle(canvas, { left: `${from}px`, width: `${to - from}px` });
        const brush = canvas.getContext("2d");
        brush.setTransform(ratio, 0, 0, ratio, -from * ratio, 0);
        brush.clearRect(from, 0, to - from, height);
        paint(brush, from, to, height);
    }

    const colours = () => {
        const style = getComputedStyle(root);
        return Object.fromEntries(["--wave", "--tick", "--muted", "--line"].map((name) => [name, style.getPropertyValue(name).trim()]));
    };

    function drawWave(brush, peaks, sourceAt, from, to, top, height) {
        if (!peaks?.peaks.length) return;
        brush.fillStyle = colours()["--wave"];
        const each = peaks.seconds / peaks.peaks.length;
        for (let x = Math.floor(from); x < to; x += 2) {
            const a = Math.floor(sourceAt(x) / each);
            const b = Math.max(a + 1, Math.ceil(sourceAt(x + 2) / each));
            let most = 0;
            for (let i = Math.max(0, Math.min(a, b)); i < Math.min(peaks.peaks.length, Math.max(a, b)); ++i) most = Math.max(most, -peaks.peaks[i][0], peaks.peaks[i][1]);
            const size = Math.max(1, Math.min(1, most * 1.3) * height);
            brush.fillRect(x, top + (height - size) / 2, 1.4, size);
        }
    }

    function drawItem(item) {
        const { element, path, span, left, width } = item;
        const canvas = element.querySelector("canvas");
        if (!canvas) return;
        const own = getAt(state.document, path);
        if (!own) return;
        const facts = app.factsOf(own.file);
        drawStrip(canvas, left, width, (brush, from, to, height) => {
            const speed = typeof own.speed === "number" ? own.speed : 1;
            if (path[0] === "sounds") {
                const start = parseTime(own.start ?? 0, 0, rate()) || 0;
                const length = facts?.seconds || Infinity;
                const at = (x) => {
                    const seconds = start + (x / scale) * speed;
                    return own.loop ? seconds % length : seconds;
                };
                drawWave(brush, wave(own.file), at, from, to, 2, height - 4);
                return;
            }
            if (own.file === undefined) return;
            const shape = facts?.width ? facts.width / facts.height : 16 / 9;
            const each = Math.max(24, height * shape);
            const isStill = facts?.picture || !(span.out > span.in);
            const begin = path[0] === "clips" ? span.in : parseTime(own.start ?? 0, 0, rate()) || 0;
            for (let i = Math.floor(from / each); i * each < to; ++i) {
                const played = Math.max(0, ((i + 0.5) * each) / scale) * speed;
                let time = own.reversed ? (span.out ?? played) - played : begin + played;
                // Few different times, so that zooming finds most pictures already there.
                const grid = each / scale > 2 ? 1 : each / scale > 0.5 ? 0.5 : 0.2;
                time = isStill ? 0 : clamp(Math.round(time / grid) * grid, 0, Math.max(0, (facts?.seconds ?? time) - 0.05));
                const picture = thumb(own.file, time);
                if (picture) brush.drawImage(picture, i * each, 0, each - 1, height);
            }
            if (path[0] === "clips" && facts?.sound && !own.muted) {
                brush.fillStyle = "rgb(0 0 0 / 45%)";
                brush.fillRect(from, height - 16, to - from, 16);
                drawWave(brush, wave(own.file), (x) => (own.reversed ? span.out - (x / scale) * speed : begin + (x / scale) * speed), from, to, height - 15, 14);
            }
        });
    }

    const draw = perFrame(() => {
        for (const item of items) drawItem(item);
        drawRuler();
    });

    function drawRuler() {
        const ratio = devicePixelRatio || 1;
        const width = viewWidth();
        if (width <= 0) return;
        ruler.width = Math.round(width * ratio);
        ruler.height = Math.round(26 * ratio);
        setStyle(ruler, { width: `${width}px`, height: "26px", left: `${scroller.scrollLeft}px` });
        const brush = ruler.getContext("2d");
        brush.setTransform(ratio, 0, 0, ratio, 0, 0);
        brush.clearRect(0, 0, width, 26);
        const steps = [1 / rate(), 2 / rate(), 5 / rate(), 10 / rate(), 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 1800, 3600].filter((frames, i) => i > 3 || frames < 0.7);
        const step = steps.find((s) => s * scale >= 76) ?? 3600;
        const style = colours();
        brush.font = "500 10.5px system-ui, sans-serif";
        brush.textBaseline = "middle";
        const first = Math.floor(toSeconds(scroller.scrollLeft) / step);
        for (let i = Math.max(0, first); ; ++i) {
            const x = toX(i * step) - scroller.scrollLeft;
            if (x > width) break;
            brush.fillStyle = style["--muted"];
            const seconds = i * step;
            const text = step >= 1 ? shortRuler(seconds) : timecode(Math.round(seconds * rate()), rate()).slice(3);
            brush.fillText(text, Math.round(x) + 4, 10);
            brush.fillStyle = style["--tick"];
            brush.fillRect(Math.round(x), 4, 1, 22);
            for (let k = 1; k < 5; ++k) brush.fillRect(Math.round(x + (k * step * scale) / 5), 20, 1, 6);
        }
    }
    const shortRuler = (seconds) => `${Math.floor(seconds / 60)}:${String(Math.floor(seconds % 60)).padStart(2, "0")}`;

    // Dragging.

    const trimHandle = (side, label, start) =>
        h("span", { class: `trim trim-${side}`, title: label, onpointerdown: (event) => {
            if (event.button !== 0) return;
            event.preventDefault();
            event.stopPropagation();
            start(event);
        } });

    let gestures = 0;
    const report = (text) => {
        status.textContent = text;
    };
    function endDrag(gesture, isKept = true) {
        snapLine.hidden = true;
        dropMark.hidden = true;
        report("");
        if (isKept) state.endGesture();
        else state.cancelGesture(gesture);
    }

    function dragClipEdge(event, index, edge) {
        const gesture = `trim#${++gestures}`;
        const [document_, plan] = [state.document, state.get("plan")];
        const span = plan.clips.find((clip) => clip.index === index);
        const facts = app.factsOf(state.document.clips[index].file);
        const candidates = stops(`/clips/${index}`).filter((stop) => stop !== span.start && (edge === "start" || stop <= span.start || stop === state.get("time") || !plan.clips.some((c) => c.index > index && (c.start === stop || c.end === stop))));
        state.set({ selection: ["clips", index] });
        drag(event, {
            move(x, y, late) {
                const way = edge === "end" ? snapped(x / scale, [span.end], candidates, late.altKey) : Math.round((x / scale) * rate()) / rate();
                const next = trimClip(document_, plan, index, edge, way, facts);
                state.change(strings.steps.trim, () => next, { gesture });
                const clip = next.clips[index];
                report(strings.timeline.trimmed(clip.duration !== undefined ? shortTime(clip.duration) : `${shortTime(clip.from ?? 0)} – ${shortTime(parseTime(clip.to ?? facts?.seconds ?? span.out, 0, rate()))}`));
                // The picture that is being cut to.
                const at = edge === "end" ? span.end + way - 1 / rate() : span.start;
                app.seek(clamp(at, 0, Math.max(0, plan.seconds + way)), false);
            },
            end: () => endDrag(gesture),
            cancel: () => endDrag(gesture, false),
        });
    }

    function dragClip(event, index) {
        // Selecting it makes its element anew.
        const own = () => tracks.querySelector(`[data-focus="/clips/${index}"]`);
        const rest = () => {
            own()?.classList.remove("moving");
            if (own()) setStyle(own(), { transform: "" });
            endDrag(null);
        };
        const plan = state.get("plan");
        let target = index;
        drag(event, {
            threshold: 5,
            move(x, y, late) {
                own().classList.add("moving");
                setStyle(own(), { transform: `translate(${x}px, ${clamp(y, -12, 12)}px)` });
                const at = toSeconds(late.clientX - content.getBoundingClientRect().left);
                target = plan.clips.filter((clip) => clip.index !== index && (clip.start + clip.end) / 2 < at).length;
                const order = plan.clips.filter((clip) => clip.index !== index);
                const edge = target === 0 ? 0 : order[target - 1].end - (target < order.length && order[target].index !== index + 1 ? Math.max(0, order[target - 1].end - order[target].start) / 2 : 0);
                dropMark.hidden = false;
                const track = own().closest(".track");
                setStyle(dropMark, { left: `${toX(edge)}px`, top: `${tracks.offsetTop + track.offsetTop}px`, height: `${track.offsetHeight}px` });
                report(strings.timeline.moveTo(target + 1));
            },
            end(late, isMoved) {
                rest();
                if (isMoved && target !== index) app.moveClip(index, target);
            },
            cancel: rest,
        });
    }

    function dragSpan(event, path, span, edge) {
        const gesture = `span#${++gestures}`;
        const [document_, plan] = [state.document, state.get("plan")];
        const candidates = stops(pointer(path));
        drag(event, {
            threshold: edge === "move" ? 4 : 0,
            move(x, y, late) {
                const edges = edge === "move" ? [span.start, span.end] : edge === "start" ? [span.start] : [span.end];
                const way = snapped(x / scale, edges, candidates, late.altKey);
                state.change(edge === "move" ? strings.steps.move : strings.steps.trim, () => trimSpan(document_, path, span, edge, way, plan.seconds), { gesture });
                const shown = edge === "end" ? span.end + way : span.start + way;
                report(`${timecode(Math.round(shown * rate()), rate())}`);
            },
            end: () => endDrag(gesture),
            cancel: () => endDrag(gesture, false),
        });
    }

    function dragJoint(event, index, side) {
        const gesture = `joint#${++gestures}`;
        const document_ = state.document;
        const joint = state.get("plan").joints.find((item) => item.index === index);
        const length = joint.end - joint.start;
        const path = ["clips", index, "joint"];
        const own = getAt(document_, path) ?? document_.joint ?? { transition: "Crossfade" };
        state.set({ selection: path });
        drag(event, {
            move(x) {
                const way = ((side === "end" ? x : -x) * 2) / scale;
                const duration = tidy(Math.max(2 / rate(), Math.round((length + way) * rate()) / rate()));
                state.change(strings.steps.duration, () => setAt(document_, path, { ...own, duration }), { gesture });
                report(shortTime(duration));
            },
            end: () => endDrag(gesture),
            cancel: () => endDrag(gesture, false),
        });
    }

    // Items.

    /** An item is selected with everything that belongs to it, but a joint is selected alone. */
    function isSelected(path) {
        const selection = state.get("selection");
        if (!selection) return false;
        return samePath(selection[2] === "joint" ? selection : selection.slice(0, 2), path);
    }

    function effectBadges(own, covered) {
        const list = own.effects ?? [];
        if (!list.length) return null;
        const names = list.map((effect) => app.catalogue.find("effect", effect.effect)?.title ?? effect.effect);
        return h("span", { class: "fx", title: names.join(", "), style: covered ? { marginInlineStart: `${covered}px` } : null }, icon("effects", 12), names[0], list.length > 1 ? ` +${list.length - 1}` : null);
    }

    /** The keys of everything that changes on an item, as marks at their times. */
    function keyMarks(path, own, span) {
        const marks = new Set();
        const visit = (value, base, start, length) => {
            for (const field of Object.values(value)) {
                if (isCurve(field)) for (const key of keysOf(field, length, rate())) marks.add(Math.round((start + key.time) * 1000));
            }
        };
        visit(own, path, 0, span.end - span.start);
        (own.effects ?? []).forEach((effect, index) => {
            const inner = spanOf(state.get("plan"), state.document, [...path, "effects", index], rate());
            if (inner) visit(effect, path, inner.start - span.start, inner.end - inner.start);
        });
        const length = (span.end - span.start) * 1000;
        return [...marks].filter((time) => time >= 0 && time <= length + 1).map((time) => h("span", { class: "key-mark", style: { left: `${(time / 1000) * scale}px` } }));
    }

    function makeItem(path, span, left, width, { kind, iconName, name, canvas = true, covered = 0 }) {
        const own = getAt(state.document, path);
        const selected = isSelected(path);
        const problem = state.get("problem")?.place;
        const place = pointer(path);
        const isWrong = Boolean(problem) && (problem === place || problem.startsWith(`${place}/`));
        const facts = path[0] === "subtitles" ? null : app.factsOf(own.file);
        const isClip = path[0] === "clips";
        const label = strings.timeline.item(strings.kinds[kind] ?? kind, name, shortTime(span.start), shortTime(span.end));
        const element = h(
            "div",
            {
                class: `item item-${kind}${selected ? " selected" : ""}${isWrong ? " wrong" : ""}${facts?.missing ? " missing" : ""}`,
                role: "button",
                tabindex: selected ? 0 : -1,
                "aria-pressed": String(selected),
                "aria-label": facts?.missing ? `${label}. ${strings.timeline.missing}` : label,
                dataset: { place, focus: place },
                style: { left: `${left}px`, width: `${Math.max(2, width)}px` },
                onpointerdown(event) {
                    if (event.button !== 0) return;
                    const selection = state.get("selection");
                    if (!(selection && samePath(selection.slice(0, 2), path) && selection[2] === "effects")) state.set({ selection: path });
                    root.querySelector(`[data-focus="${place}"]`)?.focus({ preventScroll: true });
                    if (isClip) dragClip(event, path[1]);
                    else if (path[0] !== "subtitles") dragSpan(event, path, span, "move");
                },
                onkeydown: (event) => itemKey(event, path, span),
                ondblclick: () => app.seek(span.start),
            },
            canvas ? h("canvas", { "aria-hidden": "true" }) : null,
            own.color && !own.title ? h("span", { class: "colour-fill", style: { background: own.color } }) : null,
            h("span", { class: "item-label", style: covered ? { marginInlineStart: `${Math.min(covered, width / 2)}px` } : null }, icon(facts?.missing ? "warning" : iconName, 13), h("span", {}, name)),
            effectBadges(own, covered),
            selected ? keyMarks(path, own, span) : null,
        );
        if (path[0] !== "subtitles") {
            const trim = (edge) => (event) => (isClip ? dragClipEdge(event, path[1], edge) : (state.set({ selection: path }), dragSpan(event, path, span, edge)));
            element.append(trimHandle("start", strings.timeline.trimStart, trim("start")), trimHandle("end", strings.timeline.trimEnd, trim("end")));
        }
        items.push({ element, path, span, left, width });
        return element;
    }

    let nudged = {};  // the last step of a key: where the item is in which document
    function itemKey(event, path, span) {
        const { key, altKey, shiftKey } = event;
        const plan = state.get("plan");
        const isClip = path[0] === "clips";
        const step = shiftKey ? 1 : 1 / rate();
        const nudge = (way) => {
            if (isClip) {
                const to = clamp(path[1] + way, 0, state.document.clips.length - 1);
                if (to !== path[1]) app.moveClip(path[1], to);
            } else {
                const place = pointer(path);
                // Keys may come faster than plans.
                const base = nudged.document === state.document && nudged.place === place ? nudged.span : span;
                state.change(strings.steps.move, (document) => trimSpan(document, path, base, "move", way * step, plan.seconds), { gesture: `nudge${place}` });
                const start = Math.round((getAt(state.document, path).from ?? 0) * rate()) / rate();
                nudged = { document: state.document, place, span: { ...base, start, end: base.end + start - base.start } };
            }
        };
        const order = (way) => {
            const to = path[1] + way;
            if (isClip || to < 0 || to >= state.document[path[0]].length) return;
            state.change(strings.steps.order, (document) => moveIn(document, [path[0]], path[1], to), { select: [path[0], to] });
        };
        const actions = altKey
            ? { ArrowLeft: () => nudge(-1), ArrowRight: () => nudge(1), ArrowUp: () => order(1), ArrowDown: () => order(-1) }
            : { ArrowLeft: () => walk(path, -1), ArrowRight: () => walk(path, 1), ArrowUp: () => walkTrack(path, -1), ArrowDown: () => walkTrack(path, 1), Enter: () => app.focusInspector() };
        if (event.ctrlKey || event.metaKey || !actions[key]) return;
        event.preventDefault();
        event.stopPropagation();
        actions[key]();
    }

    const order = () => items.map((item) => ({ ...item, track: item.element.closest(".track")?.dataset.track })).sort((a, b) => a.span.start - b.span.start);
    function go(item) {
        if (!item) return;
        state.set({ selection: item.path });
        pending = pointer(item.path);
    }
    function walk(path, way) {
        const all = order();
        const own = all.find((item) => samePath(item.path, path));
        const row = all.filter((item) => item.track === own?.track);
        go(row[row.indexOf(own) + way]);
    }
    function walkTrack(path, way) {
        const all = order();
        const own = all.find((item) => samePath(item.path, path));
        const names = [...tracks.children].map((track) => track.dataset.track);
        for (let at = names.indexOf(own.track) + way; at >= 0 && at < names.length; at += way) {
            const row = all.filter((item) => item.track === names[at]);
            if (!row.length) continue;
            const middle = (own.span.start + own.span.end) / 2;
            go(row.reduce((best, item) => (Math.abs((item.span.start + item.span.end) / 2 - middle) < Math.abs((best.span.start + best.span.end) / 2 - middle) ? item : best)));
            return;
        }
    }
    let pending = null;

    /** Rows so that what is there at the same time does not cover each other. */
    function pack(list) {
        const rows = [];
        for (const item of [...list].sort((a, b) => a.span.start - b.span.start)) {
            const row = rows.find((r) => r.at(-1).span.end <= item.span.start + 1e-6);
            if (row) row.push(item);
            else rows.push([item]);
        }
        return rows;
    }

    function track(name, kind, iconName, label, elements) {
        const label_ = h("div", { class: `track-label label-${kind}` }, icon(iconName, 15), h("span", {}, label));
        return { label: label_, element: h("div", { class: `track track-${kind}`, role: "group", "aria-label": label, dataset: { track: name, kind } }, elements) };
    }

    function clipTrack(plan) {
        const elements = [];
        const joints = new Map(plan.joints.map((joint) => [joint.index, joint]));
        for (const clip of plan.clips) {
            const path = ["clips", clip.index];
            const own = getAt(state.document, path);
            if (!own) continue;
            const half = (joint) => (joint ? (joint.end - joint.start) / 2 : 0);
            const start = clip.start + half(joints.get(clip.index - 1));
            const end = clip.end - half(joints.get(clip.index));
            const left = toX(start);
            const facts = app.factsOf(own.file);
            elements.push(makeItem(path, clip, left, (end - start) * scale - 1, {
                kind: own.title ? "title" : own.color ? "colour" : facts?.picture ? "picture" : "clip",
                iconName: own.title ? "titles" : own.color ? "color" : facts?.picture ? "picture" : "film",
                name: nameOf(own, strings.names),
                canvas: own.file !== undefined,
                covered: half(joints.get(clip.index - 1)) * scale,
            }));
        }
        for (const clip of plan.clips.slice(0, -1)) {
            const joint = joints.get(clip.index);
            const path = ["clips", clip.index, "joint"];
            const selected = samePath(state.get("selection"), path);
            const chosen = getAt(state.document, path) ?? state.document.joint;
            if (joint) {
                const width = (joint.end - joint.start) * scale;
                const title = app.catalogue.find("transition", chosen?.transition ?? joint.transition)?.title ?? chosen?.transition ?? joint.transition;
                elements.push(
                    h(
                        "div",
                        {
                            class: `joint${selected ? " selected" : ""}`,
                            role: "button",
                            tabindex: -1,
                            "aria-pressed": String(selected),
                            "aria-label": strings.timeline.joint(title, shortTime(joint.end - joint.start)),
                            title: `${title} · ${shortTime(joint.end - joint.start)}`,
                            dataset: { focus: pointer(path), place: pointer(path) },
                            style: { left: `${toX(joint.start)}px`, width: `${Math.max(14, width)}px` },
                            onclick: () => state.set({ selection: path }),
                            onkeydown: (event) => {
                                if (event.key !== "Enter" && event.key !== " ") return;
                                event.preventDefault();
                                event.stopPropagation();
                                state.set({ selection: path });
                                app.focusInspector();
                            },
                        },
                        icon("transitions", 14),
                        trimHandle("start", strings.timeline.jointDuration, (event) => dragJoint(event, clip.index, "start")),
                        trimHandle("end", strings.timeline.jointDuration, (event) => dragJoint(event, clip.index, "end")),
                    ),
                );
            } else {
                elements.push(
                    h("button", {
                        type: "button",
                        tabindex: -1,
                        class: `cut${selected ? " selected" : ""}`,
                        "aria-label": strings.timeline.addJoint,
                        title: strings.timeline.addJoint,
                        dataset: { focus: pointer(path), place: pointer(path) },
                        style: { left: `${toX(clip.end)}px` },
                        onclick: () => {
                            state.set({ selection: path });
                            app.showLibrary("transitions");
                        },
                    }, icon("plus", 12)),
                );
            }
        }
        for (const name of ["opening", "closing"]) {
            const own = state.document[name];
            if (!own || own.transition === "none") continue;
            const span = spanOf(plan, state.document, [name], rate());
            if (!span) continue;
            elements.push(h("button", { type: "button", class: `edge edge-${name}`, title: strings.sections[name], "aria-label": strings.sections[name], tabindex: -1, style: { left: `${toX(span.start)}px`, width: `${(span.end - span.start) * scale}px` }, onclick: () => {
                state.set({ selection: null });
                app.reveal(`/${name}/transition`);
            } }));
        }
        return track("clips", "clips", "film", strings.tracks.clips, elements);
    }

    function lanes(list, spans, kindOf, title, iconOf) {
        const entries = (state.document[list] ?? []).map((own, index) => ({ own, path: [list, index], span: spans.find((span) => span.place === `/${list}/${index}`) })).filter((entry) => entry.span);
        // Titles have rows of their own.
        const groups = [entries.filter(({ own }) => own.title), entries.filter(({ own }) => !own.title)];
        return groups.flatMap(pack).map((row, number) =>
            track(`${list}-${number}`, list, iconOf(row[0].own), title(row[0].own), row.map(({ own, path, span }) =>
                makeItem(path, span, toX(span.start), (span.end - span.start) * scale - 1, { kind: kindOf(own), iconName: iconOf(own), name: nameOf(own, strings.names), canvas: own.file !== undefined && list !== "subtitles" }))));
    }

    function build() {
        const plan = state.get("plan");
        items = [];
        const focus = tracks.contains(document.activeElement) ? document.activeElement.dataset.focus : null;
        if (!plan || !state.document.clips.length) {
            labels.replaceChildren();
            tracks.replaceChildren(h("div", { class: "timeline-empty" }, icon("film", 22), h("p", {}, state.document.clips.length ? strings.timeline.noPlan : strings.timeline.empty)));
            setStyle(content, { width: "100%" });
            playhead.hidden = true;
            drawRuler();
            return;
        }
        playhead.hidden = false;
        const overlaySpans = [...plan.overlays, ...(plan.titles ?? [])];
        const rows = [
            ...lanes("subtitles", (state.document.subtitles ?? []).map((_, index) => ({ place: `/subtitles/${index}`, start: 0, end: plan.seconds })), () => "subtitles", () => strings.tracks.subtitles, () => "subtitles"),
            ...lanes("overlays", overlaySpans, (own) => (own.title ? "title" : own.color ? "colour" : "overlay"), (own) => (own.title ? strings.tracks.titles : strings.tracks.overlays), (own) => (own.title ? "titles" : own.color ? "color" : "layers")).reverse(),
            clipTrack(plan),
            ...lanes("sounds", plan.sounds, () => "sound", () => strings.tracks.sounds, () => "sound"),
        ];
        labels.replaceChildren(h("div", { class: "label-head" }), ...rows.map((row) => row.label));
        tracks.replaceChildren(...rows.map((row) => row.element));
        setStyle(content, { width: `${Math.max(viewWidth(), toX(plan.seconds) + 160)}px` });
        zoom.value = Math.log(scale / 5) / Math.log(160);
        setStyle(zoom, { "--fill": `${Number(zoom.value) * 100}%` });
        if (!tracks.querySelector('[tabindex="0"]')) tracks.querySelector(".item")?.setAttribute("tabindex", "0");
        const wanted = pending ?? focus;
        pending = null;
        if (wanted) tracks.querySelector(`[data-focus="${CSS.escape(wanted)}"]`)?.focus({ preventScroll: true });
        showTime();
        draw();
    }

    function showTime() {
        setStyle(playhead, { transform: `translateX(${toX(state.get("time"))}px)` });
        if (!state.get("playing")) return;
        // The page turns when the playhead leaves it.
        const x = toX(state.get("time")) - scroller.scrollLeft;
        if (x > viewWidth() - 20 || x < 0) scroller.scrollLeft = toX(state.get("time")) - 40;
    }

    // The ruler and the ground: seek, and scrub while the pointer is held.
    function scrub(event) {
        if (event.button !== 0 || !state.get("plan")) return;
        const at = (e) => {
            const seconds = toSeconds(e.clientX - content.getBoundingClientRect().left);
            const near = snaps && !e.altKey ? stops(null).filter((stop) => stop !== state.get("time")).find((stop) => Math.abs(stop - seconds) * scale < kSnap / 2) : undefined;
            app.seek(near ?? seconds);
        };
        at(event);
        drag(event, { move: (x, y, late) => at(late), end: () => {} });
    }
    content.querySelector(".ruler-box").addEventListener("pointerdown", scrub);
    playhead.addEventListener("pointerdown", (event) => {
        event.stopPropagation();
        scrub(event);
    });
    tracks.addEventListener("pointerdown", (event) => {
        if (event.target !== tracks && !event.target.classList.contains("track")) return;
        state.set({ selection: null });
        scrub(event);
    });
    scroller.addEventListener("scroll", draw, { passive: true });
    scroller.addEventListener("wheel", (event) => {
        if (!event.ctrlKey && !event.metaKey) {
            if (!event.shiftKey && event.deltaX === 0 && scroller.scrollHeight <= scroller.clientHeight) {
                event.preventDefault();
                scroller.scrollLeft += event.deltaY;
            }
            return;
        }
        event.preventDefault();
        setScale(scale * 1.0015 ** -event.deltaY, toSeconds(event.clientX - content.getBoundingClientRect().left));
    }, { passive: false });

    // What is dragged from the library.
    function dropPlace(event) {
        const dragged = app.dragged;
        const plan = state.get("plan");
        const at = plan ? clamp(toSeconds(event.clientX - content.getBoundingClientRect().left), 0, plan.seconds) : 0;
        const trackUnder = event.target.closest?.(".track");
        if (!dragged) return null;
        if (dragged.kind === "effect") {
            const item = event.target.closest?.(".item");
            const path = item ? item.dataset.place.split("/").slice(1) : null;
            const target = path && ["clips", "overlays"].includes(path[0]) ? [path[0], Number(path[1])] : null;
            return target ? { target, element: item } : null;
        }
        if (dragged.kind === "transition") {
            if (!plan || plan.clips.length < 2) return null;
            const cuts = plan.clips.slice(0, -1).map((clip) => ({ index: clip.index, at: plan.joints.find((j) => j.index === clip.index)?.end ?? clip.end }));
            const cut = cuts.reduce((best, next) => (Math.abs(next.at - at) < Math.abs(best.at - at) ? next : best));
            return { joint: cut.index, mark: cut.at };
        }
        if (dragged.kind === "title" || (dragged.kind === "file" && ["overlays", "subtitles"].includes(trackUnder?.dataset.kind) && dragged.type !== "sound")) return { list: "overlays", time: at, mark: at };
        if (dragged.kind === "file" && (dragged.type === "sound" || trackUnder?.dataset.kind === "sounds")) return { list: "sounds", time: at, mark: at };
        if (!plan) return { list: "clips", index: 0, mark: 0 };
        const index = plan.clips.filter((clip) => (clip.start + clip.end) / 2 < at).length;
        return { list: "clips", index, mark: index === 0 ? 0 : plan.clips[index - 1].end };
    }
    let dropTarget = null;
    function clearDrop() {
        dropTarget?.classList.remove("drop-target");
        dropTarget = null;
        dropMark.hidden = true;
        root.classList.remove("drop");
    }
    root.addEventListener("dragover", (event) => {
        const place = dropPlace(event);
        dropTarget?.classList.remove("drop-target");
        dropTarget = place?.element ?? null;
        dropTarget?.classList.add("drop-target");
        dropMark.hidden = place?.mark === undefined;
        if (!place) return;
        event.preventDefault();
        event.dataTransfer.dropEffect = "copy";
        root.classList.add("drop");
        if (place.mark !== undefined) setStyle(dropMark, { left: `${toX(place.mark)}px`, top: "26px", height: `${tracks.offsetHeight}px` });
    });
    root.addEventListener("dragleave", (event) => !root.contains(event.relatedTarget) && clearDrop());
    root.addEventListener("drop", (event) => {
        const place = dropPlace(event);
        clearDrop();
        if (!place) return;
        event.preventDefault();
        app.drop(app.dragged, place);
    });

    new ResizeObserver(() => (isFitted ? fit() : build())).observe(scroller);
    let wasEmpty = true;
    state.on(["plan", "document", "selection", "facts", "problem", "theme"], () => {
        const isEmpty = !state.get("plan");
        if (wasEmpty && !isEmpty) fit();
        else build();
        wasEmpty = isEmpty;
    });
    state.on(["time"], showTime);
    build();

    return {
        fit,
        zoomBy: (factor) => setScale(scale * factor),
        toggleSnap: () => setSnap(!snaps),
        focus() {
            (tracks.querySelector('[tabindex="0"]') ?? scroller).focus();
        },
        /** Gives an item the focus when it is there. */
        focusItem(path) {
            pending = pointer(path);
        },
    };
}
