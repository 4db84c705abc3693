// What is selected, with every field as the control that suits it.
import { isCurve } from "./curves.js";
import { h } from "./dom.js";
import { makeControl } from "./fields.js";
import { declaredField, kForms, pointsOfFields, schemaField } from "./forms.js";
import { icon } from "./icons.js";
import { keyAt, makeGraph, valueAt, withKey, withoutKey } from "./keyframes.js";
import { nameOf, spanOf, tidy } from "./model.js";
import { getAt, moveIn, pathOf, pointer, samePath, setAt } from "./state.js";
import { strings } from "./strings.js";

export function makeInspector(root, app) {
    const { state } = app;
    let rows = [];
    let shape = "";
    const open = new Map();
    let gestures = 0;

    const rate = () => app.rate();
    const documentNow = () => state.document;
    const spanFor = (base) => spanOf(state.get("plan"), documentNow(), base, rate());
    const localTime = (base) => {
        const span = spanFor(base);
        return span ? Math.max(0, Math.round((state.get("time") - span.start) * rate()) / rate()) : 0;
    };
    const lengthOf = (base) => {
        const span = spanFor(base);
        return span ? span.end - span.start : 0;
    };

    /** One field. `base` is the path of what it belongs to, whose span its keys count from. */
    function row(base, spec) {
        const path = [...base, spec.key];
        const name = pointer(path);
        const step = strings.steps.set(spec.label);
        const raw = () => getAt(documentNow(), path);
        const shown = () => valueAt(raw(), localTime(base), lengthOf(base), rate());
        const gesture = () => `${name}#${gestures}`;
        const write = (value, isLive) => {
            state.change(step, (document) => setAt(document, path, value), { gesture: gesture() });
            if (!isLive) {
                ++gestures;
                state.endGesture();
            }
        };
        const change = (value, isLive) => {
            if (isCurve(raw()) && value !== undefined) write(withKey(raw(), localTime(base), value, lengthOf(base), rate()), isLive);
            else write(value, isLive);
        };
        const context = { rate, span: () => lengthOf(base.length > 2 ? base.slice(0, 2) : base), chooseFile: app.chooseFile };
        const control = makeControl(spec, change, context);
        const element = h("div", { class: `row type-${spec.type}${control.isWide ? " wide" : ""}`, dataset: { place: name } });
        const label = h("span", { class: "label", title: spec.help }, spec.label);
        const tools = h("span", { class: "tools" });
        const problem = h("p", { class: "problem", role: "alert", hidden: true });
        let graph = null;
        let keyButton = null;
        if (spec.animatable) {
            keyButton = h("button", { type: "button", class: "plain key-button", onclick: toggleKey, dataset: { focus: `key:${name}` } }, icon("key", 16));
            tools.append(keyButton);
        }
        const reset = h(
            "button",
            { type: "button", class: "plain reset", title: strings.fields.reset, "aria-label": strings.fields.resetFor(spec.label), dataset: { focus: `reset:${name}` }, onclick: () => write(undefined, false) },
            icon("reset", 15),
        );
        element.append(label, control.element, tools, ...(spec.isNeeded ? [] : [reset]), problem);
        if (isCurve(raw())) {
            graph = makeGraph(
                spec,
                { get: raw, set: write, span: () => lengthOf(base), now: () => localTime(base), rate },
                (seconds) => app.seek((spanFor(base)?.start ?? 0) + seconds),
            );
            element.append(graph.element);
        }
        function toggleKey() {
            const at = localTime(base);
            const index = keyAt(raw(), at, lengthOf(base), rate());
            if (index >= 0) write(withoutKey(raw(), index, lengthOf(base), rate()), false);
            else write(withKey(raw(), at, shown() ?? spec.otherwise ?? spec.min ?? 0, lengthOf(base), rate()), false);
        }
        function show() {
            control.show(shown());
            reset.hidden = raw() === undefined;
            element.classList.toggle("set", raw() !== undefined);
            if (keyButton) {
                const isKeyed = isCurve(raw());
                const isHere = keyAt(raw(), localTime(base), lengthOf(base), rate()) >= 0;
                keyButton.classList.toggle("keyed", isKeyed);
                keyButton.classList.toggle("here", isHere);
                const text = isHere ? strings.keyframes.removeHere(spec.label) : isKeyed ? strings.keyframes.addHere(spec.label) : strings.keyframes.animate(spec.label);
                keyButton.title = text;
                keyButton.setAttribute("aria-label", text);
                keyButton.setAttribute("aria-pressed", String(isHere));
            }
            graph?.show();
            const error = state.get("problem");
            const isWrong = Boolean(error?.place) && (error.place === name || error.place.startsWith(`${name}/`));
            element.classList.toggle("wrong", isWrong);
            problem.hidden = !isWrong;
            problem.textContent = isWrong ? error.error : "";
        }
        rows.push({ show, isKeyed: () => isCurve(raw()), path });
        show();
        return element;
    }

    function section(id, title, content, { isOpen = true, tools = null, badge = null } = {}) {
        if (!content || (Array.isArray(content) && content.filter(Boolean).length === 0)) return null;
        const details = h("details", { class: "section", open: open.get(id) ?? isOpen, dataset: { section: id }, ontoggle: () => open.set(id, details.open) }, [
            h("summary", { dataset: { focus: `section:${id}` } }, icon("next", 14), h("span", { class: "section-title" }, title), badge, tools),
            h("div", { class: "section-body" }, content),
        ]);
        return details;
    }

    const schemaRows = (base, definition, group, extra = {}) =>
        kForms[definition][group].map((key) => {
            const spec = schemaField(app.schema, definition, key, extra[key]);
            return spec && extra[key] !== null ? row(base, spec) : null;
        });

    const small = (name, label, action, props = {}) =>
        h("button", { type: "button", class: `plain ${props.class ?? ""}`, title: label, "aria-label": label, disabled: props.disabled, "aria-pressed": props.pressed, dataset: props.focus ? { focus: props.focus } : {}, onclick: (event) => {
            event.preventDefault();
            event.stopPropagation();
            action();
        } }, icon(name, 16));

    /** The fields of an effect or a transition, those for points and angles first where the declaration has them. */
    function declaredRows(base, entry, kind) {
        if (!entry) return [h("p", { class: "problem" }, strings.inspector.unknown(getAt(documentNow(), [...base, kind])))];
        if (!entry.fields.length) return [h("p", { class: "muted" }, strings.inspector.noFields)];
        return entry.fields.map((field) => row(base, declaredField(field)));
    }

    function effectCard(listPath, index) {
        const path = [...listPath, index];
        const effect = getAt(documentNow(), path);
        const entry = app.catalogue.find("effect", effect.effect);
        const name = entry?.title ?? effect.effect;
        const count = getAt(documentNow(), listPath).length;
        const isSelected = samePath(state.get("selection"), path);
        const move = (to) =>
            state.change(strings.steps.order, (document) => moveIn(document, listPath, index, to), { select: [...listPath, to] });
        const id = `effect:${pointer(path)}`;
        const tools = h(
            "span",
            { class: "section-tools" },
            small(effect.muted ? "eyeOff" : "eye", effect.muted ? strings.inspector.unmute(name) : strings.inspector.mute(name), () =>
                state.change(strings.steps.mute(name), (document) => setAt(document, [...path, "muted"], effect.muted ? undefined : true)), { pressed: String(Boolean(effect.muted)), focus: `mute:${id}` }),
            entry?.isShader ? small("shaders", strings.inspector.editShader, () => app.editShader(entry, effect.effect)) : null,
            small("up", strings.inspector.moveUp(name), () => move(index - 1), { disabled: index === 0 }),
            small("down", strings.inspector.moveDown(name), () => move(index + 1), { disabled: index === count - 1 }),
            small("trash", strings.inspector.remove(name), () => app.removeAt(path), { focus: `remove:${id}` }),
        );
        const times = kForms.effect.effect
            .filter((key) => key !== "on" || listPath[0] === "clips")
            .map((key) => row(path, schemaField(app.schema, "effect", key)));
        const details = section(id, name, [
            entry ? h("p", { class: "help" }, entry.help) : null,
            declaredRows(path, entry, "effect"),
            section(`${id}/times`, strings.sections.times, times, { isOpen: false }),
        ], { isOpen: isSelected || count <= 2, tools });
        details.classList.add("effect-card");
        details.classList.toggle("selected", isSelected);
        details.classList.toggle("muted-effect", Boolean(effect.muted));
        if (isSelected) details.open = true;
        return details;
    }

    function effects(listPath, title = strings.sections.effects) {
        const list = getAt(documentNow(), listPath) ?? [];
        return section(
            `effects:${listPath[0]}`,
            title,
            [
                ...list.map((_, index) => effectCard(listPath, index)),
                h("button", { type: "button", class: "wide-button", onclick: () => app.showLibrary("effects") }, icon("plus", 16), strings.inspector.addEffect),
            ],
            { badge: list.length ? h("span", { class: "badge" }, list.length) : null },
        );
    }

    /** A joint, the opening or the closing, an overlay's enter or leave: its transition and the fields of that. */
    function transition(path, { isOptional, inherited = null, none = strings.inspector.none }) {
        const own = getAt(documentNow(), path);
        const shown = own ?? inherited;
        const entry = shown && shown.transition !== "none" ? app.catalogue.find("transition", shown.transition) : null;
        const name = shown?.transition ?? "none";
        const select = h(
            "select",
            {
                "aria-label": strings.inspector.transition,
                dataset: { focus: `transition:${pointer(path)}` },
                onchange() {
                    if (select.value === "") app.setTransition(path, undefined);
                    else if (select.value === "none") app.setTransition(path, isOptional === "remove" ? undefined : { transition: "none" });
                    else app.setTransition(path, select.value);
                },
            },
            isOptional === "inherit" ? h("option", { value: "" }, strings.inspector.likeProject) : null,
            h("option", { value: "none" }, none),
            ["standard", "plug-in", "shader"].map((origin) => {
                const group = app.catalogue.entries.filter((e) => e.kind === "transition" && (e.isShader ? "shader" : (e.origin ?? "standard")) === origin);
                return group.length
                    ? h("optgroup", { label: strings.origins[origin] }, group.map((e) => h("option", { value: app.catalogue.writtenName(e) }, e.title)))
                    : null;
            }),
        );
        select.value = own === undefined ? (isOptional === "inherit" ? "" : "none") : entry ? app.catalogue.writtenName(entry) : "none";
        if (own && !entry && name !== "none") {
            select.append(h("option", { value: name }, name));
            select.value = name;
        }
        const chooser = h(
            "div",
            { class: "row" },
            h("span", { class: "label" }, strings.inspector.transition),
            h("div", { class: "control" }, h("span", { class: "select" }, select, icon("down", 14))),
            h("span", { class: "tools" }, small("search", strings.inspector.browseTransitions, () => app.showLibrary("transitions"))),
        );
        if (!own || name === "none") return [chooser, inherited && own === undefined ? h("p", { class: "muted" }, strings.inspector.inherits(entry?.title ?? strings.inspector.cut)) : null];
        const hasGround = path[0] === "opening" || path[0] === "closing";
        return [
            chooser,
            entry ? h("p", { class: "help" }, entry.help) : null,
            kForms.transition.joint
                .filter((key) => key !== "background" || hasGround)
                .map((key) => row(path, schemaField(app.schema, "transition", key, key === "duration" ? { placeholder: "1" } : {}))),
            declaredRows(path, entry, "transition"),
            entry?.isShader ? h("button", { type: "button", class: "wide-button", onclick: () => app.editShader(entry, own.transition) }, icon("shaders", 16), strings.inspector.editShader) : null,
        ];
    }

    function head(iconName, title, kind, actions) {
        return h("header", { class: "inspector-head" }, h("span", { class: "kind-icon" }, icon(iconName, 20)), h("div", {}, h("h2", {}, title), h("p", {}, kind)), h("span", { class: "head-tools" }, actions));
    }

    const itemTools = (path) => [
        path[0] === "clips" ? small("split", strings.actions.split, app.split) : null,
        small("duplicate", strings.actions.duplicate, () => app.duplicate(path)),
        small("trash", strings.actions.remove, () => app.removeAt(path)),
    ];

    function clip(index, selection) {
        const path = ["clips", index];
        const item = getAt(documentNow(), path);
        const shown = app.factsOf(item.file);
        const isStill = item.file === undefined || shown?.picture;
        const piece = schemaRows(path, "clip", "piece", {
            file: item.file === undefined ? null : { kinds: ["video", "picture"], isNeeded: true },
            color: item.color === undefined ? null : { isNeeded: true },
            from: isStill ? null : { placeholder: "0" },
            to: isStill ? null : { placeholder: shown?.seconds ? String(tidy(shown.seconds, 2)) : undefined },
            duration: isStill ? {} : null,
            speed: isStill ? null : {},
            reversed: isStill ? null : {},
            holdFirst: isStill ? null : { placeholder: "0" },
            holdLast: isStill ? null : { placeholder: "0" },
        });
        const hasSound = Boolean(shown?.sound);
        const isLast = index === documentNow().clips.length - 1;
        return [
            head(item.title ? "titles" : item.color ? "color" : isStill ? "picture" : "film", nameOf(item, strings.names), facts(shown) || strings.kinds.clip, itemTools(path)),
            item.title ? titleSections([...path, "title"]) : null,
            section("clip/piece", strings.sections.piece, piece),
            effects([...path, "effects"]),
            section("clip/frame", strings.sections.frame, schemaRows(path, "clip", "frame", item.fit === "fill" ? { background: null } : { focusX: null, focusY: null }), { isOpen: false }),
            hasSound ? section("clip/sound", strings.sections.sound, schemaRows(path, "clip", "sound", item.speed === undefined ? { keepPitch: null } : {}), { isOpen: false }) : null,
            isLast ? null : section("clip/joint", strings.sections.joint, transition([...path, "joint"], { isOptional: "inherit", inherited: documentNow().joint ?? null, none: strings.inspector.cut }), { isOpen: false }),
        ];
    }

    const facts = (probe) => (probe && !probe.missing ? [probe.width ? `${probe.width}×${probe.height}` : "", probe.picture ? strings.kinds.picture : probe.seconds ? strings.seconds(tidy(probe.seconds, 2)) : "", probe.rate && !probe.picture && probe.width ? strings.rate(tidy(probe.rate, 3)) : ""].filter(Boolean).join(" · ") : "");

    function joint(index) {
        const path = ["clips", index, "joint"];
        const names = [index, index + 1].map((i) => nameOf(documentNow().clips[i], strings.names));
        return [
            head("transitions", strings.kinds.joint, names.join(" → "), getAt(documentNow(), path) ? [small("trash", strings.actions.remove, () => app.setTransition(path, documentNow().joint ? { transition: "none" } : undefined))] : []),
            h("div", { class: "flat" }, transition(path, { isOptional: "inherit", inherited: documentNow().joint ?? null, none: strings.inspector.cut })),
        ];
    }

    function titleSections(path) {
        return [
            section("title/words", strings.sections.words, schemaRows(path, "title", "words", { text: { isNeeded: true } })),
            section("title/type", strings.sections.type, schemaRows(path, "title", "type")),
            section("title/place", strings.sections.titlePlace, schemaRows(path, "title", "place", { x: { animatable: false }, y: { animatable: false } }), { isOpen: false }),
            section("title/motion", strings.sections.motion, schemaRows(path, "title", "motion"), { isOpen: false }),
            section("title/outline", strings.sections.outline, schemaRows(path, "title", "outline", { outlineWidth: { high: 0.2, step: 0.005 } }), { isOpen: false }),
            section("title/box", strings.sections.box, schemaRows(path, "title", "box"), { isOpen: false }),
        ];
    }

    function overlay(index) {
        const path = ["overlays", index];
        const item = getAt(documentNow(), path);
        const shown = app.factsOf(item.file);
        const isVideo = item.file !== undefined && shown && !shown.picture && !shown.missing;
        const count = documentNow().overlays.length;
        const order = (to) => state.change(strings.steps.order, (document) => moveIn(document, ["overlays"], index, to), { select: ["overlays", to] });
        const onlyVideo = isVideo ? {} : null;
        return [
            head(item.title ? "titles" : item.color ? "color" : "layers", nameOf(item, strings.names), item.title ? strings.kinds.title : facts(shown) || strings.kinds.overlay, [
                small("up", strings.inspector.forward, () => order(index + 1), { disabled: index === count - 1 }),
                small("down", strings.inspector.backward, () => order(index - 1), { disabled: index === 0 }),
                ...itemTools(path),
            ]),
            item.title ? titleSections([...path, "title"]) : null,
            section("overlay/when", strings.sections.when, schemaRows(path, "overlay", "when", {
                file: item.file === undefined ? null : { kinds: ["video", "picture"], isNeeded: true },
                color: item.color === undefined ? null : { isNeeded: true },
                from: { placeholder: "0" },
                start: onlyVideo, loop: onlyVideo, speed: onlyVideo, reversed: onlyVideo,
            })),
            section("overlay/place", strings.sections.place, schemaRows(path, "overlay", "place", item.title ? { anchor: null, width: null, height: null } : {}), { isOpen: !item.title }),
            section("overlay/look", strings.sections.look, schemaRows(path, "overlay", "look"), { isOpen: false }),
            effects([...path, "effects"]),
            section("overlay/enter", strings.sections.enter, transition([...path, "enter"], { isOptional: "remove" }), { isOpen: Boolean(item.enter) }),
            section("overlay/leave", strings.sections.leave, transition([...path, "leave"], { isOptional: "remove" }), { isOpen: Boolean(item.leave) }),
            isVideo && shown.sound ? section("overlay/sound", strings.sections.sound, schemaRows(path, "overlay", "sound"), { isOpen: false }) : null,
        ];
    }

    function sound(index) {
        const path = ["sounds", index];
        const item = getAt(documentNow(), path);
        const ducks = Boolean(item.duck);
        const duckSwitch = makeControl({ type: "flag", label: strings.inspector.duck, help: app.schema.definitions.sound.properties.duck.description }, (value) =>
            state.change(strings.steps.set(strings.inspector.duck), (document) => setAt(document, [...path, "duck"], value ? { by: 12 } : undefined)));
        duckSwitch.show(ducks);
        return [
            head("sound", nameOf(item, strings.names), facts(app.factsOf(item.file)) || strings.kinds.sound, itemTools(path)),
            section("sound/when", strings.sections.when, schemaRows(path, "sound", "when", { file: { kinds: ["sound", "video"], isNeeded: true }, from: { placeholder: "0" }, keepPitch: item.speed === undefined ? null : {} })),
            section("sound/level", strings.sections.level, schemaRows(path, "sound", "level")),
            section("sound/duck", strings.sections.duck, [
                h("div", { class: "row" }, h("span", { class: "label" }, strings.inspector.duck), duckSwitch.element, h("span", { class: "tools" })),
                ducks ? schemaRows([...path, "duck"], "duck", "duck") : null,
            ]),
        ];
    }

    function subtitles(index) {
        const path = ["subtitles", index];
        const item = getAt(documentNow(), path);
        const style = [...path, "style"];
        const kinds = ["family", "size", "weight", "color", "outlineWidth", "outlineColor"];
        return [
            head("subtitles", nameOf(item, strings.names), strings.kinds.subtitles, itemTools(path)),
            section("subtitles/when", strings.sections.when, schemaRows(path, "subtitles", "when", { file: { kinds: ["subtitles"], isNeeded: true }, offset: { placeholder: "0" } })),
            section("subtitles/style", strings.sections.type, kinds.map((key) => row(style, schemaField(app.schema, "title", key)))),
        ];
    }

    function project() {
        const hasSubtitles = (documentNow().subtitles ?? []).length > 0;
        return [
            head("settings", strings.kinds.project, app.projectLine(), []),
            section("project/output", strings.sections.output, schemaRows(["output"], "output", "picture", { size: { placeholder: strings.inspector.firstClip, isText: true }, fps: { placeholder: strings.inspector.firstClip }, stillDuration: { placeholder: "3" } })),
            section("project/joint", strings.sections.defaultJoint, transition(["joint"], { isOptional: "remove", none: strings.inspector.cut })),
            effects(["effects"], strings.sections.allEffects),
            section("project/opening", strings.sections.opening, transition(["opening"], { isOptional: "remove" }), { isOpen: Boolean(documentNow().opening) }),
            section("project/closing", strings.sections.closing, transition(["closing"], { isOptional: "remove" }), { isOpen: Boolean(documentNow().closing) }),
            section("project/mix", strings.sections.mix, schemaRows(["mix"], "mix", "mix"), { isOpen: false }),
            hasSubtitles
                ? section("project/subtitles", strings.sections.subtitles, documentNow().subtitles.map((item, index) =>
                    h("button", { type: "button", class: "wide-button", onclick: () => state.set({ selection: ["subtitles", index] }) }, icon("subtitles", 16), nameOf(item, strings.names))))
                : null,
        ];
    }

    /** What the page is made of, as far as other values in the same fields do not need another page. */
    function shapeNow() {
        const selection = state.get("selection");
        const own = selection ? getAt(documentNow(), selection.slice(0, 2)) : { ...documentNow(), clips: null, overlays: null, sounds: null };
        const outline = (value, key) => {
            if (isCurve(value)) return "curve";
            if (Array.isArray(value)) return key === "effects" || key === "subtitles" ? value.map((item) => outline(item)) : "list";
            if (value && typeof value === "object") return Object.fromEntries(Object.entries(value).map(([k, v]) => [k, outline(v, k)]).filter(([, v]) => v !== null));
            return ["effect", "transition", "muted", "file", "fit"].includes(key) ? value : key === "speed" || key === "color" ? true : null;
        };
        const counts = [documentNow().clips.length, (documentNow().overlays ?? []).length];
        const isJoint = selection?.[2] === "joint";
        return JSON.stringify([selection, outline(own), counts, isJoint ? outline(documentNow().joint) : documentNow().joint?.transition, selection ? "" : app.projectLine(), selection?.[0] === "subtitles" ? null : app.factsOf(own?.file), app.catalogue.entries.length]);
    }

    function build() {
        rows = [];
        const selection = state.get("selection");
        const [kind, index, part] = selection ?? [];
        const exists = selection && getAt(documentNow(), selection.slice(0, 2)) !== undefined;
        const content =
            !exists ? project()
            : kind === "clips" && part === "joint" ? joint(index)
            : kind === "clips" ? clip(index, selection)
            : kind === "overlays" ? overlay(index)
            : kind === "sounds" ? sound(index)
            : kind === "subtitles" ? subtitles(index)
            : project();
        const focus = root.contains(document.activeElement) ? document.activeElement.closest("[data-focus]")?.dataset.focus ?? document.activeElement.closest("[data-place]")?.dataset.place : null;
        const { scrollTop } = root;
        root.replaceChildren(...content.flat(5).filter(Boolean));
        root.scrollTop = scrollTop;
        if (focus) (root.querySelector(`[data-focus="${CSS.escape(focus)}"]`) ?? root.querySelector(`[data-place="${CSS.escape(focus)}"] :is(input, select, button)`))?.focus({ preventScroll: true });
    }

    function update(changed) {
        const next = shapeNow();
        if (next !== shape) {
            const isOther = JSON.parse(shape || "[null]")[0]?.slice(0, 2).join() !== state.get("selection")?.slice(0, 2).join();
            shape = next;
            build();
            if (isOther) root.scrollTop = 0;
            const selected = root.querySelector(".effect-card.selected");
            if (selected && changed?.has("selection")) selected.scrollIntoView({ block: "nearest" });
        } else {
            // At another time only what changes has another value.
            const isTimeOnly = changed && changed.size === 1 && changed.has("time");
            for (const item of rows) if (!isTimeOnly || item.isKeyed()) item.show();
        }
    }

    root.addEventListener("focusout", () => {
        ++gestures;
        state.endGesture();
    });
    root.addEventListener("pointerdown", (event) => {
        const card = event.target.closest(".effect-card");
        const place = card?.dataset.section.replace(/^effect:/, "");
        if (place && !event.target.closest("button") && !samePath(state.get("selection"), pathOf(place))) {
            // The points of the effect in hand are shown on the picture.
            app.setActiveEffect(pathOf(place));
        }
    });
    state.on(["document", "selection", "plan", "problem", "facts", "time", "catalogue"], update);

    return {
        /** Opens and shows the field at a place of the document. */
        reveal(place) {
            let found = null;
            for (const item of root.querySelectorAll("[data-place]")) {
                if (place === item.dataset.place || place.startsWith(`${item.dataset.place}/`)) found = item;
            }
            for (let node = found?.closest("details"); node; node = node.parentElement.closest("details")) node.open = true;
            found?.scrollIntoView({ block: "center" });
            found?.querySelector("input, select, textarea")?.focus({ preventScroll: true });
        },
        update,
    };
}

/** The points of what is selected, for the picture: {label, get() in shares of the frame from the top left, set(x, y, isLive)}. */
export function pointsOnPicture(app, active) {
    const { state } = app;
    const document_ = state.document;
    const selection = active ?? state.get("selection");
    if (!selection) return [];
    const own = getAt(document_, selection);
    if (!own) return [];
    const span = spanOf(state.get("plan"), document_, selection, app.rate());
    const length = span ? span.end - span.start : 0;
    const now = span ? Math.max(0, Math.round((state.get("time") - span.start) * app.rate()) / app.rate()) : 0;
    const read = (key, otherwise) => valueAt(getAt(state.document, [...selection, key]), now, length, app.rate()) ?? otherwise;
    const put = (document, key, value) => {
        const before = getAt(document, [...selection, key]);
        return setAt(document, [...selection, key], isCurve(before) ? withKey(before, now, value, length, app.rate()) : value);
    };
    const gesture = `${pointer(selection)}@point`;
    const commit = (label, recipe, isLive) => {
        state.change(strings.steps.set(label), recipe, { gesture });
        if (!isLive) state.endGesture();
    };
    const round = (value) => tidy(value, 3);
    const kind = selection.at(-2) === "effects" ? "effect" : own.transition ? "transition" : null;
    if (kind) {
        const entry = app.catalogue.find(kind, own[kind]);
        if (!entry) return [];
        const field = (key) => entry.fields.find((f) => f.key === key);
        return pointsOfFields(entry.fields).map(({ label, x, y, list }) => ({
            label,
            isInPicture: kind === "effect" && selection[0] === "clips" && own.on !== "frame",
            get: () => {
                const [px, py] = list ? read(list, field(list).default) : [read(x, field(x).default), read(y, field(y).default)];
                return [px, 1 - py];
            },
            set: (px, py, isLive) =>
                commit(label, (document) => (list ? put(document, list, [round(px), round(1 - py)]) : put(put(document, x, round(px)), y, round(1 - py))), isLive),
        }));
    }
    if (selection[0] === "overlays" && selection.length === 2 && !own.inPixels) {
        const anchor = own.title ? "top-left" : (own.anchor ?? "center");
        const ax = anchor.includes("left") ? 0 : anchor.includes("right") ? 1 : 0.5;
        const ay = anchor.includes("top") ? 0 : anchor.includes("bottom") ? 1 : 0.5;
        const [bx, by] = own.title ? [0.5, 0.5] : [ax, ay];
        return [
            {
                label: strings.inspector.position,
                get: () => [bx + read("x", 0), by + read("y", 0)],
                set: (px, py, isLive) => commit(strings.inspector.position, (document) => put(put(document, "x", round(px - bx)), "y", round(py - by)), isLive),
            },
        ];
    }
    return [];
}
