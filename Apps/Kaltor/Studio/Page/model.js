// What can be done with a document, without the page: times, names, and the changes that people think of as one step.
import { isCurve, pointsOf } from "./curves.js";
import { getAt, setAt } from "./state.js";

/** Seconds of a time as documents write it, in a span of so many seconds; NaN where it is none. */
export function parseTime(value, span, rate = 25) {
    if (typeof value === "number") return value;
    const text = String(value ?? "").trim();
    const sign = text.startsWith("-") ? -1 : 1;
    const bare = text.replace(/^-/, "");
    let found = /^(\d+(?:\.\d+)?|\.\d+)(s|f|%)?$/.exec(bare);
    if (found) {
        const number = Number(found[1]);
        return sign * (found[2] === "f" ? number / rate : found[2] === "%" ? (number / 100) * (span ?? NaN) : number);
    }
    found = /^(?:(\d+):)?(\d+):(\d+(?:\.\d+)?)(?::(\d+))?$/.exec(bare);
    if (!found) return NaN;
    return sign * ((Number(found[1] ?? 0) * 60 + Number(found[2])) * 60 + Number(found[3]) + Number(found[4] ?? 0) / rate);
}

/** HH:MM:SS:FF of a frame. */
export function timecode(frame, rate) {
    const whole = Math.max(1, Math.round(rate));
    const two = (number) => String(number).padStart(2, "0");
    const seconds = Math.floor(frame / whole);
    return `${two(Math.floor(seconds / 3600))}:${two(Math.floor(seconds / 60) % 60)}:${two(seconds % 60)}:${two(frame % whole)}`;
}

export const shortTime = (seconds) => {
    const tenths = Math.round(seconds * 10);
    const rest = ((tenths % 600) / 10).toFixed(1).replace(/\.0$/, "");
    return tenths < 600 ? `${rest} s` : `${Math.floor(tenths / 600)}:${rest.padStart(rest.includes(".") ? 4 : 2, "0")}`;
};

/** As documents have numbers: without the noise of binary fractions. */
export const tidy = (number, digits = 4) => Number(number.toFixed(digits));

export const fileName = (path) => path.split("/").at(-1);

/** What a clip or an overlay shows, in words. */
export function nameOf(item, strings) {
    if (item?.file !== undefined) return fileName(item.file) || strings.emptyFile;
    if (item?.title) return item.title.text?.split("\n")[0] || strings.title;
    if (item?.color) return `${strings.colour} ${item.color}`;
    return strings.nothing;
}

/** An entry of the catalogue, with its fields as the page has them: {key, type, default, min, max, choices, help}. */
function withFields(entry) {
    entry.fields = entry.fields.map(asField);
    return entry;
}
export const asField = ({ name, range, labels, ...rest }) => ({ key: name, min: range?.[0] ?? null, max: range?.[1] ?? null, choices: (labels ?? []).map(({ label }) => label), ...rest });

export class Catalogue {
    #byName = new Map();

    constructor(entries) {
        this.entries = entries;
        for (const entry of entries.map(withFields)) {
            const short = entry.name.replace(/^(Effect|Transition)/, "");
            entry.title ??= titleOf(entry.name);
            entry.help = entry.summary ?? "";
            entry.search = [entry.name, entry.title, entry.help, ...(entry.usualNames ?? []), ...entry.fields.map((f) => f.key)].join(" ").toLowerCase();
            entry.isShader = entry.origin === "shader" || Boolean(entry.file);
            for (const name of [...(entry.usualNames ?? []), entry.name.replace(/\.glsl$/, ""), short, entry.name]) {
                const key = `${entry.kind}:${name.toLowerCase()}`;
                if (!this.#byName.has(key) || name === entry.name) this.#byName.set(key, entry);
            }
        }
    }

    /** By the name that a document uses, which may be a short or a usual one; null where there is none. */
    find(kind, name) {
        return this.#byName.get(`${kind}:${String(name ?? "").toLowerCase()}`) ?? null;
    }

    /** A shader file's own entry, known since it was compiled. */
    add(entry) {
        this.entries = [...this.entries.filter((other) => other.name !== entry.name || other.kind !== entry.kind), entry];
        entry.title ??= titleOf(entry.name);
        entry.isShader = true;
        entry.help ??= "";
        entry.search = [entry.name, entry.help].join(" ").toLowerCase();
        this.#byName.set(`${entry.kind}:${entry.name.toLowerCase()}`, entry);
    }

    /** As documents name it: short where that is enough. */
    writtenName(entry) {
        const short = entry.name.replace(/^(Effect|Transition)/, "");
        return this.find(entry.kind, short) === entry ? short : entry.name;
    }
}

export const titleOf = (name) =>
    fileName(name)
        .replace(/\.glsl$/, "")
        .replace(/^(Effect|Transition)(?=[A-Z0-9])/, "")
        .replace(/[-_]+/g, " ")
        .replace(/([a-z0-9])([A-Z])/g, "$1 $2")
        .replace(/([A-Z]+)([A-Z][a-z])/g, "$1 $2")
        .replace(/^./, (c) => c.toUpperCase());

/** Where in the video something is: {start, end} in seconds, from the plan; null where the plan has no such place. */
export function spanOf(plan, document, path, rate) {
    if (!plan || !path) return null;
    const place = `/${path[0]}/${path[1]}`;
    let span = null;
    if (path[0] === "clips") span = plan.clips.find((clip) => clip.place === place);
    if (path[0] === "overlays") span = [...plan.overlays, ...(plan.titles ?? [])].find((item) => item.place === place);
    if (path[0] === "sounds") span = plan.sounds.find((item) => item.place === place);
    if (path[0] === "effects" || path[0] === "output" || path[0] === "mix") span = { start: 0, end: plan.seconds };
    if (path[0] === "opening" || path[0] === "closing" || path[0] === "joint") span = jointSpan(plan, document, path, rate);
    if (!span) return null;
    if (path[2] === "joint") return plan.joints.find((joint) => joint.index === path[1]) ?? null;
    const isEffect = path.at(-2) === "effects";
    if (!isEffect) return { start: span.start, end: span.end };
    const effect = getAt(document, path) ?? {};
    const length = span.end - span.start;
    const at = (value, otherwise) => {
        const seconds = value === undefined ? otherwise : parseTime(value, length, rate);
        return Number.isFinite(seconds) ? Math.min(Math.max(seconds < 0 ? seconds + length : seconds, 0), length) : otherwise;
    };
    return { start: span.start + at(effect.from, 0), end: span.start + at(effect.to, length) };
}

function jointSpan(plan, document, path, rate) {
    if (plan[path[0]]) return plan[path[0]];
    const length = parseTime(document[path[0]]?.duration ?? 1, plan.seconds, rate);
    return path[0] === "closing" ? { start: plan.seconds - length, end: plan.seconds } : { start: 0, end: length };
}

/** Cuts a clip in two at a time of the video. Returns null where that would leave a piece of less than a frame. */
export function splitClip(document, plan, index, time) {
    const clip = document.clips[index];
    const span = plan.clips.find((item) => item.index === index);
    const rate = plan.rate[0] / plan.rate[1];
    if (!clip || !span || time <= span.start + 0.5 / rate || time >= span.end - 0.5 / rate) return null;
    const way = time - span.start;
    const { joint, ...bare } = clip;
    const first = { ...bare, joint: { transition: "none" } };
    const second = { ...bare };
    if (isMoving(clip, span)) {
        const speed = clip.speed ?? 1;
        const played = Math.max(0, way - (parseTime(clip.holdFirst ?? 0, 0, rate) || 0)) * speed;
        const cut = tidy(clip.reversed ? span.out - played : span.in + played);
        if (cut <= span.in || cut >= span.out) return null;
        if (clip.reversed) {
            first.from = cut;
            second.to = cut;
        } else {
            first.to = cut;
            second.from = cut;
        }
        delete first.holdLast;
        delete second.holdFirst;
    } else {
        first.duration = tidy(way);
        second.duration = tidy(span.end - time);
    }
    delete first.fadeOut;
    delete second.fadeIn;
    if (joint) second.joint = joint;
    const length = span.end - span.start;
    const cut = (part, isSecond) => {
        if (part.volume !== undefined) part.volume = cutCurve(part.volume, length, isSecond ? way : 0, rate);
        if (part.effects) part.effects = part.effects.map((effect) => cutEffect(effect, way, length, rate, isSecond)).filter(Boolean);
        return part;
    };
    return setAt(document, ["clips"], [...document.clips.slice(0, index), cut(first, false), cut(second, true), ...document.clips.slice(index + 1)]);
}

/** The same curve, with its keys in seconds from `way` on, so that it does not depend on its span's length. */
function cutCurve(value, span, way, rate) {
    if (!isCurve(value)) return value;
    const points = pointsOf(value, span, (time, length) => parseTime(time, length, rate));
    return { keys: points.map(({ time, value: at, easing }) => (easing === "linear" ? [tidy(time - way), at] : [tidy(time - way), at, easing])) };
}

/** An effect's part before or after a cut at `way` seconds; null where it has none there. */
function cutEffect(effect, way, length, rate, isSecond) {
    const at = (value, otherwise) => {
        const seconds = value === undefined ? otherwise : parseTime(value, length, rate);
        return seconds < 0 ? seconds + length : seconds;
    };
    const [from, to] = [at(effect.from, 0), at(effect.to, length)];
    if (isSecond ? to <= way : from >= way) return null;
    const [start, end] = isSecond ? [Math.max(from, way), to] : [from, Math.min(to, way)];
    const result = {};
    for (const [key, value] of Object.entries(effect)) result[key] = cutCurve(value, to - from, start - from, rate);
    if (result.progress === undefined && end - start < to - from) {
        // Its progress goes on where it was.
        const share = (time) => tidy((time - from) / (to - from));
        if (effect.easing === undefined || effect.easing === "linear") result.progress = { from: share(start), to: share(end) };
        else result.progress = cutCurve({ from: 0, to: 1, easing: effect.easing }, to - from, start - from, rate);
        delete result.easing;
    }
    const [newFrom, newTo] = isSecond ? [start - way, end - way] : [start, end];
    if (newFrom > 0.0005) result.from = tidy(newFrom);
    else delete result.from;
    if (newTo < (isSecond ? length - way : way) - 0.0005) result.to = tidy(newTo);
    else delete result.to;
    return result;
}

/** Whether a clip plays a piece of a file, which can be trimmed, or stands still for a duration. */
export const isMoving = (clip, span) => clip?.file !== undefined && clip.duration === undefined && Boolean(span) && span.out > span.in;

/** Shows another piece of a clip: its first or last edge is moved by seconds of the video. `facts` are those of its file. */
export function trimClip(document, plan, index, edge, seconds, facts) {
    const clip = document.clips[index];
    const span = plan.clips.find((item) => item.index === index);
    const rate = plan.rate[0] / plan.rate[1];
    const least = 1 / rate;
    if (!clip || !span) return document;
    const length = span.end - span.start;
    if (!isMoving(clip, span)) {
        const duration = Math.max(least, edge === "start" ? length - seconds : length + seconds);
        return setAt(document, ["clips", index, "duration"], tidy(duration));
    }
    const speed = clip.speed ?? 1;
    const end = facts?.seconds || Math.max(span.out, parseTime(clip.to, 0, rate) || 0);
    const isFrom = (edge === "start") !== Boolean(clip.reversed);
    const way = seconds * speed * (clip.reversed ? -1 : 1);
    if (isFrom) {
        const from = Math.min(Math.max(0, span.in + way), span.out - least * speed);
        return setAt(document, ["clips", index, "from"], from <= 0.0005 ? undefined : tidy(from));
    }
    const to = Math.max(Math.min(end, span.out + way), span.in + least * speed);
    return setAt(document, ["clips", index, "to"], to >= end - 0.0005 ? undefined : tidy(to));
}

/** What lies over the clips or sounds: moved, or one of its edges. */
export function trimSpan(document, path, span, edge, seconds, total) {
    const item = getAt(document, path);
    const least = 0.04;
    let { start, end } = span;
    if (edge === "move") {
        const way = Math.max(-start, Math.min(seconds, total - least - start));
        start += way;
        end += way;
    } else if (edge === "start") {
        start = Math.min(Math.max(0, start + seconds), end - least);
    } else {
        end = Math.max(start + least, end + seconds);
    }
    const result = { ...item };
    if (start <= 0.0005) delete result.from;
    else result.from = tidy(start);
    // An end that follows from the file stays so, as long as nobody drags it.
    if (edge === "end" || (edge === "move" && item.to !== undefined)) result.to = tidy(Math.min(end, Math.max(total, span.end)));
    if (edge === "start" && item.file !== undefined && item.to === undefined) result.to = tidy(end);
    return setAt(document, path, result);
}

/** Where a new clip goes: behind the selected one, otherwise at the end. */
export const placeForClip = (document, selection) => (selection?.[0] === "clips" ? selection[1] + 1 : document.clips.length);

/** The clip that is seen at a time; the incoming one during a joint. */
export function clipAt(plan, time) {
    return plan?.clips.filter((clip) => clip.start <= time + 1e-6 && time < clip.end - 1e-6).at(-1) ?? plan?.clips.at(-1) ?? null;
}
