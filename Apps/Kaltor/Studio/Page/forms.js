// Which fields the inspector shows, in which order, and as which control. What a field takes comes from the declarations:
// the catalogue's for effects and transitions, the schema's for everything else.
import { titleOf } from "./model.js";
import { strings } from "./strings.js";

// Where the declared range is far wider than what people want, sliders cover this; the number beside it takes the rest.
const kHints = {
    volume: { low: -48, high: 12, step: 0.5, otherwise: 0, unit: "dB" },
    speed: { low: 0.25, high: 4, step: 0.05, otherwise: 1, unit: "×" },
    opacity: { step: 0.01, otherwise: 1 },
    rotation: { type: "angle", low: -180, high: 180, otherwise: 0, unit: "°" },
    scale: { low: 0, high: 3, step: 0.01, otherwise: 1 },
    x: { low: -1, high: 1, step: 0.005, otherwise: 0 },
    y: { low: -1, high: 1, step: 0.005, otherwise: 0 },
    focusX: { step: 0.01, otherwise: 0.5 },
    focusY: { step: 0.01, otherwise: 0.5 },
    cropLeft: { step: 0.005, otherwise: 0 },
    cropTop: { step: 0.005, otherwise: 0 },
    cropRight: { step: 0.005, otherwise: 0 },
    cropBottom: { step: 0.005, otherwise: 0 },
    keepPitch: { otherwise: true },
    fit: { otherwise: "whole" },
    blend: { otherwise: "normal" },
    anchor: { otherwise: "center", type: "anchor" },
    style: { otherwise: "title" },
    animation: { otherwise: "none" },
    align: { otherwise: "center" },
    direction: { otherwise: "auto" },
    on: { otherwise: "picture" },
    color: { otherwise: "#FFFFFF" },
    background: { otherwise: "#000000" },
    size: { low: 0.01, high: 0.5, step: 0.005 },
    weight: { low: 100, high: 900, step: 100 },
    lineSpacing: { step: 0.05, otherwise: 1 },
    shadowX: { low: -0.3, high: 0.3, step: 0.01, otherwise: 0 },
    shadowY: { low: -0.3, high: 0.3, step: 0.01, otherwise: 0 },
    entry: { low: 0, high: 3, step: 0.05, unit: "s" },
    exit: { low: 0, high: 3, step: 0.05, unit: "s" },
    by: { otherwise: 12, unit: "dB", step: 0.5 },
    threshold: { otherwise: -40, unit: "dB", step: 0.5 },
    attack: { low: 0, high: 2, step: 0.05, unit: "s" },
    release: { low: 0, high: 5, step: 0.05, unit: "s" },
    loudness: { low: -40, high: -8, step: 0.5, otherwise: -16, unit: "LUFS" },
    truePeak: { low: -12, high: 0, step: 0.5, otherwise: -1, unit: "dBTP" },
    channels: { otherwise: "auto" },
    text: { type: "lines" },
    file: { type: "file" },
    easing: { type: "easing" },
    depth: { otherwise: "auto" },
    hdr: { otherwise: "auto" },
    duration: { otherwise: null },
};

export const kForms = {
    clip: {
        piece: ["file", "color", "from", "to", "duration", "speed", "reversed", "holdFirst", "holdLast"],
        frame: ["fit", "focusX", "focusY", "background"],
        sound: ["volume", "muted", "fadeIn", "fadeOut", "keepPitch"],
    },
    overlay: {
        when: ["file", "color", "from", "to", "start", "loop", "speed", "reversed"],
        place: ["anchor", "x", "y", "width", "height", "scale", "rotation"],
        look: ["opacity", "blend", "radius", "cropLeft", "cropTop", "cropRight", "cropBottom"],
        sound: ["volume", "muted", "keepPitch"],
    },
    title: {
        words: ["text", "style", "markup"],
        type: ["family", "size", "weight", "italic", "color", "align", "lineSpacing", "width", "direction"],
        place: ["anchor", "x", "y", "margin"],
        motion: ["animation", "entry", "exit"],
        outline: ["outlineWidth", "outlineColor", "shadowX", "shadowY", "shadowBlur", "shadowColor"],
        box: ["boxColor", "boxPaddingX", "boxPaddingY", "boxRadius"],
    },
    sound: { when: ["file", "from", "to", "start", "loop", "speed", "keepPitch", "reversed"], level: ["volume", "fadeIn", "fadeOut"] },
    duck: { duck: ["by", "threshold", "attack", "release"] },
    subtitles: { when: ["file", "offset"] },
    output: { picture: ["size", "fps", "background", "stillDuration", "seed", "depth", "hdr"] },
    mix: { mix: ["channels", "loudness", "truePeak", "muted"] },
    transition: { joint: ["duration", "easing", "background"] },
    effect: { effect: ["from", "to", "on", "easing"] },
};

function typeOf(property) {
    const reference = property.allOf?.[0]?.$ref ?? property.$ref ?? "";
    if (reference.endsWith("/time")) return "time";
    if (reference.endsWith("/length")) return "text";
    if (reference.endsWith("/color")) return "colour";
    if (reference.endsWith("/easing")) return "easing";
    if (reference.endsWith("/curve")) return "real";
    if (property.enum) return "choice";
    const type = property.anyOf?.[0]?.type ?? property.type;
    return { boolean: "flag", integer: "int", number: "real" }[type] ?? "text";
}

/** How a key of a document's object is shown. */
export function schemaField(schema, definition, key, extra = {}) {
    const property = schema.definitions[definition]?.properties[key];
    if (!property) return null;
    const plain = property.anyOf?.[0] ?? property;
    const hint = kHints[key] ?? {};
    return {
        key,
        label: strings.keys[key] ?? titleOf(key),
        type: typeOf(property),
        min: plain.minimum,
        max: plain.maximum,
        choices: plain.enum?.map((value) => ({ value, label: strings.values[value] ?? titleOf(value) })),
        help: property.description,
        animatable: Boolean(property.anyOf?.some((kind) => kind.$ref?.endsWith("/curve"))),
        isOptional: true,
        ...hint,
        ...extra,
    };
}

const kDegrees = /\bdegrees?\b/;
const kUnits = [
    [kDegrees, "°"],
    [/\bpercent\b/, "%"],
    [/\bHz\b/, "Hz"],
    [/\bin seconds\b/, "s"],
];

/** How a field of an effect or a transition is shown. */
export function declaredField(field) {
    const help = field.help ?? "";
    const length = /\[(\d+)\]/.exec(field.type)?.[1];
    const isWhole = /^u?int/.test(field.type);
    const base = field.type.replace(/\[.*/, "");
    const type =
        length !== undefined ? "list"
        : base === "choice" || base === "flag" || base === "file" ? base
        : base === "colour" ? "colour"
        : kDegrees.test(help) && field.min !== null ? "angle"
        : isWhole ? "int"
        : "real";
    return {
        key: field.key,
        label: titleOf(field.key),
        type,
        length: length === undefined ? 0 : Number(length),
        min: field.min ?? undefined,
        max: field.max ?? undefined,
        otherwise: field.default,
        unit: kUnits.find(([words]) => words.test(help))?.[1],
        isWhole,
        choices: field.choices?.length ? field.choices.map((value) => ({ value, label: titleOf(value) })) : undefined,
        help,
        animatable: !["choice", "flag", "file"].includes(base),
    };
}

/** Pairs of fields that are a point on the picture: {label, x, y} of keys, or a list of two. Points lie in shares from the lower left. */
export function pointsOfFields(fields) {
    const points = [];
    for (const field of fields) {
        if (/\[2\]/.test(field.type) && field.min === 0 && field.max === 1 && /lower left|point|cent/.test(field.help)) {
            points.push({ label: titleOf(field.key), list: field.key });
            continue;
        }
        const found = /^(.*?)(x|X)$/.exec(field.key);
        if (!found || !/from the left/.test(field.help)) continue;
        const partner = fields.find((other) => other.key === found[1] + (found[2] === "x" ? "y" : "Y"));
        if (partner) points.push({ label: found[1] ? titleOf(found[1]) : strings.inspector.point, x: field.key, y: partner.key });
    }
    return points;
}
