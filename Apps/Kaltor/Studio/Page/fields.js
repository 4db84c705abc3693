// The controls of single values. Each has an element and `show(value)`; it calls `change(value, isLive)` when someone sets it,
// where a live change is one of a gesture that goes on.
import { clamp, drag, h, s, setStyle } from "./dom.js";
import { bezierOf, easingOf, kEasings } from "./curves.js";
import { icon } from "./icons.js";
import { parseTime, tidy } from "./model.js";
import { strings } from "./strings.js";

const digitsOf = (step) => Math.max(0, Math.ceil(-Math.log10(step) - 1e-9) + (step < 1 && !/^0?\.?0*1$/.test(String(step)) ? 1 : 0));

function stepOf(spec) {
    if (spec.step) return spec.step;
    if (spec.isWhole || spec.type === "int") return 1;
    const width = (spec.high ?? spec.max ?? 1) - (spec.low ?? spec.min ?? 0);
    return 10 ** Math.round(Math.log10(Math.abs(width) || 1) - 2.4);
}

/** A text entry that shows numbers, takes them when it is left or Enter is pressed, and steps with the arrow keys. */
function numberEntry(spec, change) {
    const step = stepOf(spec);
    let shown = null;
    const limit = (value) => tidy(clamp(spec.isWhole || spec.type === "int" ? Math.round(value) : value, spec.min ?? -Infinity, spec.max ?? Infinity), 6);
    const input = h("input", {
        type: "text",
        inputmode: "decimal",
        class: "number",
        spellcheck: "false",
        autocomplete: "off",
        role: "spinbutton",
        "aria-label": spec.label,
        "aria-valuemin": spec.min,
        "aria-valuemax": spec.max,
        placeholder: spec.isOptional ? strings.fields.auto : null,
        title: spec.help,
        onfocus: () => input.select(),
        onchange: () => take(false),
        onkeydown(event) {
            const way = { ArrowUp: 1, ArrowDown: -1, PageUp: 10, PageDown: -10 }[event.key];
            if (event.key === "Enter") {
                take(false);
                input.select();
            } else if (event.key === "Escape") {
                show(shown);
                input.blur();
            } else if (way) {
                event.preventDefault();
                const value = limit((Number.parseFloat(input.value.replace(",", ".")) || 0) + way * step * (event.shiftKey ? 10 : 1));
                change(value, true);
            }
        },
    });
    function take(isLive) {
        const text = input.value.trim().replace(",", ".");
        if (text === "" && spec.isOptional) {
            change(undefined, isLive);
            return;
        }
        const value = Number.parseFloat(text);
        if (Number.isFinite(value)) change(limit(value), isLive);
        else show(shown);
    }
    function show(value) {
        shown = value;
        const text = value === undefined || value === null ? "" : String(tidy(Number(value), Math.max(digitsOf(step), Math.abs(value) < 0.1 ? 4 : 3)));
        if (document.activeElement !== input || Number.parseFloat(input.value) !== Number(text)) input.value = text;
        input.setAttribute("aria-valuenow", text);
    }
    return { element: input, show };
}

function number(spec, change) {
    const low = spec.low ?? spec.min;
    const high = spec.high ?? spec.max;
    const entry = numberEntry(spec, change);
    const unit = spec.unit ? h("span", { class: "unit" }, spec.unit) : null;
    if (low === undefined || high === undefined || high - low > 1e5) {
        return { element: h("div", { class: "control number-only" }, entry.element, unit), show: entry.show };
    }
    const slider = h("input", {
        type: "range",
        min: low,
        max: high,
        step: stepOf(spec),
        "aria-label": strings.fields.slider(spec.label),
        title: spec.help,
        oninput: () => change(Number(slider.value), true),
        onchange: () => change(Number(slider.value), false),
        ondblclick: () => spec.otherwise !== undefined && spec.otherwise !== null && change(spec.otherwise, false),
    });
    function show(value) {
        const shown = value ?? spec.otherwise ?? low;
        slider.value = shown;
        setStyle(slider, { "--fill": `${clamp(((shown - low) / (high - low)) * 100, 0, 100)}%` });
        if (low < 0 && high > 0) setStyle(slider, { "--zero": `${(-low / (high - low)) * 100}%` });
        else setStyle(slider, { "--zero": "0%" });
        slider.setAttribute("aria-valuetext", `${tidy(Number(shown), 3)}${spec.unit ? ` ${spec.unit}` : ""}`);
        entry.show(value ?? spec.otherwise);
    }
    const element = h("div", { class: "control" }, slider, entry.element, unit);
    return {
        element,
        show(value) {
            show(value);
            element.classList.toggle("unset", value === undefined && (spec.otherwise === undefined || spec.otherwise === null));
        },
    };
}

function angle(spec, change) {
    const low = spec.low ?? spec.min ?? -180;
    const high = spec.high ?? spec.max ?? 180;
    const hand = s("line", { x1: 14, y1: 14, x2: 23, y2: 14, class: "hand" });
    let shown = 0;
    const dial = h(
        "div",
        {
            class: "dial",
            role: "slider",
            tabindex: "0",
            "aria-label": strings.fields.dial(spec.label),
            "aria-valuemin": low,
            "aria-valuemax": high,
            title: spec.help,
            onpointerdown(event) {
                if (event.button !== 0) return;
                dial.focus();
                const box = dial.getBoundingClientRect();
                const at = (e) => (-Math.atan2(e.clientY - box.top - box.height / 2, e.clientX - box.left - box.width / 2) * 180) / Math.PI;
                let last = at(event);
                let value = shown;
                drag(event, {
                    move(x, y, late) {
                        const now = at(late);
                        value += ((now - last + 540) % 360) - 180;
                        last = now;
                        const step = late.shiftKey ? 15 : 1;
                        change(clamp(Math.round(value / step) * step, low, high), true);
                    },
                    end: () => change(shown, false),
                });
            },
            onkeydown(event) {
                const way = { ArrowUp: 1, ArrowRight: 1, ArrowDown: -1, ArrowLeft: -1, PageUp: 15, PageDown: -15 }[event.key];
                if (!way) return;
                event.preventDefault();
                change(clamp(shown + way * (event.shiftKey ? 10 : 1), low, high), true);
            },
        },
        s("svg", { viewBox: "0 0 28 28" }, s("circle", { cx: 14, cy: 14, r: 12.5 }), hand),
    );
    const entry = numberEntry(spec, change);
    function show(value) {
        shown = Number(value ?? spec.otherwise ?? 0);
        hand.setAttribute("transform", `rotate(${-shown} 14 14)`);
        dial.setAttribute("aria-valuenow", tidy(shown, 2));
        entry.show(shown);
    }
    return { element: h("div", { class: "control angle" }, dial, entry.element, h("span", { class: "unit" }, spec.unit ?? "°")), show };
}

function choice(spec, change) {
    if (spec.choices.length <= 3 && spec.choices.every((c) => c.label.length <= 9)) return segments(spec, change);
    const select = h(
        "select",
        { "aria-label": spec.label, title: spec.help, onchange: () => change(select.value === "" ? undefined : select.value, false) },
        spec.isOptional && spec.otherwise === undefined ? h("option", { value: "" }, strings.fields.automatic) : null,
        spec.choices.map(({ value, label }) => h("option", { value }, label)),
    );
    return { element: h("div", { class: "control" }, h("span", { class: "select" }, select, icon("down", 14))), show: (value) => (select.value = value ?? spec.otherwise ?? "") };
}

let groups = 0;
function segments(spec, change) {
    const name = `segments-${++groups}`;
    const inputs = spec.choices.map(({ value, label }) => {
        const input = h("input", { type: "radio", name, value, onchange: () => change(value, false) });
        return { input, element: h("label", {}, input, h("span", {}, label)) };
    });
    const element = h("div", { class: "control segments", role: "radiogroup", "aria-label": spec.label, title: spec.help }, inputs.map((i) => i.element));
    return { element, show: (value) => inputs.forEach(({ input }) => (input.checked = input.value === String(value ?? spec.otherwise ?? ""))) };
}

function anchor(spec, change) {
    const places = ["top-left", "top", "top-right", "left", "center", "right", "bottom-left", "bottom", "bottom-right"];
    const name = `segments-${++groups}`;
    const inputs = places.map((value) => h("input", { type: "radio", name, value, "aria-label": strings.values[value], title: strings.values[value], onchange: () => change(value, false) }));
    return {
        element: h("div", { class: "control" }, h("div", { class: "anchor", role: "radiogroup", "aria-label": spec.label }, inputs)),
        show: (value) => inputs.forEach((input) => (input.checked = input.value === (value ?? spec.otherwise))),
    };
}

function flag(spec, change) {
    const input = h("input", { type: "checkbox", role: "switch", "aria-label": spec.label, title: spec.help, onchange: () => change(input.checked, false) });
    return { element: h("div", { class: "control flag" }, h("span", { class: "switch" }, input, h("span", { class: "knob" }))), show: (value) => (input.checked = value ?? spec.otherwise ?? false) };
}

function colour(spec, change) {
    let shown = "#000000";
    const isColour = (text) => /^#([0-9a-f]{6}|[0-9a-f]{8})$/i.test(text);
    const alphaOf = (text) => (text.length === 9 ? parseInt(text.slice(7), 16) : 255);
    const join = (rgb, alpha) => (rgb.slice(0, 7) + (alpha < 255 ? Math.round(alpha).toString(16).padStart(2, "0") : "")).toUpperCase();
    const well = h("input", {
        type: "color",
        "aria-label": spec.label,
        title: spec.help,
        oninput: () => change(join(well.value, alphaOf(shown)), true),
        onchange: () => change(join(well.value, alphaOf(shown)), false),
    });
    const text = h("input", {
        type: "text",
        class: "hex",
        maxlength: 9,
        spellcheck: "false",
        autocomplete: "off",
        "aria-label": strings.fields.hex(spec.label),
        onchange() {
            const value = text.value.trim().replace(/^#?/, "#");
            if (isColour(value)) change(value.toUpperCase(), false);
            else if (value === "#" && spec.isOptional) change(undefined, false);
            else show(shown);
        },
    });
    const alpha = h("input", {
        type: "range",
        class: "alpha",
        min: 0,
        max: 255,
        step: 1,
        "aria-label": strings.fields.alpha(spec.label),
        title: strings.fields.alpha(spec.label),
        oninput: () => change(join(shown, Number(alpha.value)), true),
        onchange: () => change(join(shown, Number(alpha.value)), false),
    });
    const swatch = h("span", { class: "swatch" }, well);
    function show(value) {
        shown = isColour(String(value ?? spec.otherwise ?? "")) ? (value ?? spec.otherwise) : "#000000";
        well.value = shown.slice(0, 7).toLowerCase();
        alpha.value = alphaOf(shown);
        if (document.activeElement !== text) text.value = value ?? (spec.otherwise ? shown : "");
        setStyle(swatch, { "--swatch": shown });
        setStyle(alpha, { "--swatch": shown.slice(0, 7), "--fill": `${(alphaOf(shown) / 255) * 100}%` });
        alpha.setAttribute("aria-valuetext", `${Math.round((alphaOf(shown) / 255) * 100)} %`);
    }
    return { element: h("div", { class: "control colour" }, swatch, text, alpha), show };
}

function text(spec, change) {
    const input = h("input", {
        type: "text",
        spellcheck: "false",
        "aria-label": spec.label,
        title: spec.help,
        placeholder: spec.placeholder ?? strings.fields.automatic,
        onchange: () => change(input.value.trim() === "" ? undefined : asNumber(input.value.trim()), false),
    });
    const asNumber = (value) => (spec.isText ? value : /^-?\d+(\.\d+)?$/.test(value) ? Number(value) : value);
    return { element: h("div", { class: "control" }, input), show: (value) => document.activeElement !== input && (input.value = value ?? "") };
}

function lines(spec, change) {
    const area = h("textarea", { rows: 2, "aria-label": spec.label, oninput: () => change(area.value, true), onchange: () => change(area.value, false) });
    return { element: h("div", { class: "control" }, area), show: (value) => document.activeElement !== area && (area.value = value ?? ""), isWide: true };
}

function time(spec, change, context) {
    const input = h("input", {
        type: "text",
        class: "time",
        spellcheck: "false",
        autocomplete: "off",
        "aria-label": spec.label,
        title: `${spec.help ?? ""}\n${strings.fields.timeForms}`.trim(),
        placeholder: spec.placeholder ?? strings.fields.automatic,
        onchange: take,
        onkeydown(event) {
            if (event.key === "Enter") take();
            const way = { ArrowUp: 1, ArrowDown: -1 }[event.key];
            if (!way) return;
            event.preventDefault();
            const seconds = input.value.trim() === "" ? (spec.start?.() ?? 0) : parseTime(asNumber(input.value), context.span?.() ?? 0, context.rate());
            if (!Number.isFinite(seconds)) return;
            const step = event.shiftKey ? 1 : 1 / context.rate();
            const value = tidy(Math.max(0, Math.round((seconds + way * step) * context.rate()) / context.rate()));
            input.value = value;
            change(value, true);
        },
    });
    const asNumber = (value) => (/^-?\d*\.?\d+$/.test(value.trim()) ? Number(value) : value.trim());
    function take() {
        const value = input.value.trim().replace(",", ".");
        const isTime = value === "" || Number.isFinite(parseTime(asNumber(value), 1, 25));
        input.classList.toggle("wrong", !isTime);
        input.setAttribute("aria-invalid", String(!isTime));
        if (isTime) change(value === "" ? undefined : asNumber(value), false);
    }
    return {
        element: h("div", { class: "control" }, input, h("span", { class: "unit" }, "s")),
        show: (value) => document.activeElement !== input && (input.value = value ?? ""),
    };
}

function file(spec, change, context) {
    const input = h("input", {
        type: "text",
        spellcheck: "false",
        "aria-label": spec.label,
        title: spec.help,
        placeholder: strings.fields.noFile,
        onchange: () => change(input.value.trim() === "" ? undefined : input.value.trim(), false),
    });
    const browse = h(
        "button",
        {
            type: "button",
            class: "plain",
            title: strings.fields.browse,
            "aria-label": strings.fields.browseFor(spec.label),
            onclick: async () => {
                const chosen = await context.chooseFile(spec.kinds);
                if (chosen) change(chosen, false);
            },
        },
        icon("folder"),
    );
    return { element: h("div", { class: "control" }, input, browse), show: (value) => document.activeElement !== input && (input.value = value ?? "") };
}

/** Several numbers side by side that may be anything. */
function entries(spec, change) {
    let shown = [];
    const places = Array.from({ length: spec.length }, (_, index) => index);
    const all = places.map((index) =>
        numberEntry({ ...spec, label: strings.fields.part(spec.label, index + 1) }, (value, isLive) => change(places.map((i) => (i === index ? value : (shown[i] ?? 0))), isLive)));
    function show(value) {
        shown = value ?? spec.otherwise ?? [];
        all.forEach((entry, index) => entry.show(shown[index] ?? 0));
    }
    return { element: h("div", { class: "control number-only" }, all.map((entry) => entry.element)), show, isWide: spec.length > 3 };
}

/** Several numbers side by side, as bars that can be dragged. */
function list(spec, change) {
    const low = spec.min;
    const high = spec.max;
    if (low === undefined || high === undefined || high - low > 1e5) return entries(spec, change);
    const step = spec.isWhole ? 1 : (high - low) / 100;
    let shown = [];
    const set = (index, value, isLive) => {
        const next = [...shown];
        next[index] = tidy(clamp(spec.isWhole ? Math.round(value) : value, low, high));
        change(next, isLive);
    };
    const bars = Array.from({ length: spec.length }, (_, index) => {
        const bar = h(
            "div",
            {
                class: "bar",
                role: "slider",
                tabindex: "0",
                "aria-orientation": "vertical",
                "aria-label": strings.fields.part(spec.label, index + 1),
                "aria-valuemin": low,
                "aria-valuemax": high,
                onpointerdown(event) {
                    bar.focus();
                    const box = bar.getBoundingClientRect();
                    const at = (e) => high - ((e.clientY - box.top) / box.height) * (high - low);
                    set(index, at(event), true);
                    drag(event, { move: (x, y, late) => set(index, at(late), true), end: () => change([...shown], false) });
                },
                onkeydown(event) {
                    const way = { ArrowUp: 1, ArrowDown: -1, PageUp: 10, PageDown: -10 }[event.key];
                    if (!way) return;
                    event.preventDefault();
                    set(index, shown[index] + way * step, true);
                },
            },
            h("span", { class: "mark" }),
        );
        return bar;
    });
    function show(value) {
        shown = value ?? spec.otherwise ?? [];
        bars.forEach((bar, index) => {
            const number = shown[index] ?? 0;
            setStyle(bar, { "--at": `${clamp(((number - low) / (high - low)) * 100, 0, 100)}%` });
            bar.setAttribute("aria-valuenow", tidy(number, 3));
            bar.title = tidy(number, 3);
        });
    }
    return { element: h("div", { class: "control bars" }, bars), show, isWide: spec.length > 3 };
}

export function easing(spec, change) {
    const select = h(
        "select",
        { "aria-label": spec.label, title: spec.help, onchange: () => change(select.value === "linear" && spec.isOptional ? undefined : select.value === "custom" ? "cubic-bezier(0.4, 0, 0.2, 1)" : select.value, false) },
        kEasings.filter((name) => spec.isCurve || (name !== "smooth" && name !== "hold")).map((name) => h("option", { value: name }, strings.easings[name] ?? name)),
        h("option", { value: "custom" }, strings.fields.custom),
    );
    const way = s("path", {});
    const handles = [0, 1].map((index) =>
        s("circle", {
            r: 4.5,
            tabindex: 0,
            role: "slider",
            "aria-label": strings.fields.handle(index + 1),
            onpointerdown(event) {
                event.preventDefault();
                const start = points ?? [0.25, 0.25, 0.75, 0.75];
                const box = picture.getBoundingClientRect();
                drag(event, {
                    move: (x, y) => move(index, start[2 * index] + x / (box.width * 0.75), start[2 * index + 1] - y / (box.height * 0.6), true),
                    end: () => change(shown, false),
                });
            },
            onkeydown(event) {
                const way2 = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] }[event.key];
                if (!way2 || !points) return;
                event.preventDefault();
                move(index, points[2 * index] + way2[0] * 0.02, points[2 * index + 1] + way2[1] * 0.02, true);
            },
        }),
    );
    const arms = [s("line", { class: "arm" }), s("line", { class: "arm" })];
    const picture = s("svg", { viewBox: "0 0 160 100", class: "easing-graph" }, s("path", { class: "ground", d: "M20 80H140M20 20H140" }), ...arms, way, ...handles);
    let shown = null;
    let points = null;
    function move(index, x, y, isLive) {
        const next = [...points];
        next[2 * index] = tidy(clamp(x, 0, 1), 2);
        next[2 * index + 1] = tidy(clamp(y, -0.6, 1.6), 2);
        change(`cubic-bezier(${next.join(", ")})`, isLive);
    }
    function show(value) {
        shown = value;
        const name = value ?? "linear";
        points = bezierOf(name);
        select.value = kEasings.includes(name) ? name : "custom";
        const ease = easingOf(name);
        let d = "";
        for (let i = 0; i <= 60; ++i) d += `${i ? "L" : "M"}${20 + i * 2} ${(80 - 60 * (name === "hold" && i === 60 ? 1 : ease(i / 60))).toFixed(2)}`;
        way.setAttribute("d", d);
        handles.forEach((handle, index) => {
            const isShown = points !== null;
            handle.toggleAttribute("hidden", !isShown);
            arms[index].toggleAttribute("hidden", !isShown);
            if (!isShown) return;
            const [x, y] = [20 + points[2 * index] * 120, 80 - points[2 * index + 1] * 60];
            handle.setAttribute("cx", x);
            handle.setAttribute("cy", y);
            handle.setAttribute("aria-valuetext", `${points[2 * index]}, ${points[2 * index + 1]}`);
            Object.entries({ x1: index ? 140 : 20, y1: index ? 20 : 80, x2: x, y2: y }).forEach(([key, at]) => arms[index].setAttribute(key, at));
        });
    }
    return { element: h("div", { class: "control easing" }, h("span", { class: "select" }, select, icon("down", 14)), picture), show, isWide: true };
}

const kControls = { real: number, int: number, angle, choice, flag, colour, text, lines, time, file, list, easing, anchor };

export function makeControl(spec, change, context) {
    if (spec.type === "choice" && !spec.choices?.length) return text(spec, change, context);
    return (kControls[spec.type] ?? text)(spec, change, context);
}
