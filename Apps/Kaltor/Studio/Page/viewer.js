// The picture with what moves through it.
import { clamp, drag, h, perFrame, setStyle, store } from "./dom.js";
import { icon } from "./icons.js";
import { pointsOnPicture } from "./inspector.js";
import { timecode } from "./model.js";
import { Player } from "./player.js";
import { strings } from "./strings.js";

export function makeViewer(root, app) {
    const { state } = app;
    const canvas = h("canvas", { class: "picture", role: "img", "aria-label": strings.viewer.picture });
    const paint = canvas.getContext("2d", { alpha: false });
    const handles = h("div", { class: "handles" });
    const frame = h("div", { class: "frame" }, canvas, handles);
    const message = h("div", { class: "viewer-message", role: "alert", hidden: true });
    const busy = h("div", { class: "busy", hidden: true });
    const empty = h("div", { class: "empty-stage", hidden: true });
    const stage = h("div", { class: "stage" }, frame, empty, busy, message);

    const player = new Player(
        state,
        (picture, number) => {
            if (canvas.width !== picture.width || canvas.height !== picture.height) {
                canvas.width = picture.width;
                canvas.height = picture.height;
            }
            paint.drawImage(picture, 0, 0);
            canvas.dataset.frame = number;
            canvas.dataset.plan = state.get("plan")?.plan ?? "";
            canvas.dataset.width = picture.width;
        },
        (error) => state.set({ pictureProblem: error ? error.message : null }),
        () => app.replan(),
    );

    const button = (name, label, keys, action) =>
        h("button", { type: "button", class: "plain", title: `${label} (${keys})`, "aria-label": label, "aria-keyshortcuts": keys, onclick: action }, icon(name, 20));
    const play = h("button", { type: "button", class: "play", onclick: () => player.toggle() }, icon("play", 22), icon("pause", 22));
    const code = h("output", { class: "timecode", "aria-label": strings.viewer.time }, "00:00:00:00");
    const total = h("span", { class: "timecode total" }, "00:00:00:00");
    const scrub = h("input", {
        type: "range",
        class: "scrub",
        min: 0,
        max: 1,
        step: 1,
        "aria-label": strings.viewer.scrub,
        oninput: () => app.seekFrame(Number(scrub.value)),
    });
    const quality = h(
        "select",
        { "aria-label": strings.viewer.quality, title: strings.viewer.quality, onchange: () => state.set({ width: Number(quality.value) }) },
        [320, 640, 960, 1280, 0].map((width) => h("option", { value: width }, width ? strings.viewer.width(width) : strings.viewer.full)),
    );
    quality.value = state.get("width");
    const mute = h("button", { type: "button", class: "plain", onclick: () => setVolume(player.volume > 0 ? 0 : (lastVolume || 1)) }, icon("sound", 18), icon("mute", 18));
    let lastVolume = 1;
    const volume = h("input", { type: "range", class: "volume", min: 0, max: 1, step: 0.01, value: 1, "aria-label": strings.viewer.volume, oninput: () => setVolume(Number(volume.value)) });
    function setVolume(value) {
        if (player.volume > 0) lastVolume = player.volume;
        player.setVolume(value);
        volume.value = value;
        setStyle(volume, { "--fill": `${value * 100}%` });
        mute.setAttribute("aria-pressed", String(value === 0));
        mute.title = value === 0 ? strings.viewer.unmute : strings.viewer.mute;
        mute.setAttribute("aria-label", mute.title);
        store.set("studio-volume", value);
    }
    setVolume(store.get("studio-volume", 1));
    const full = button("full", strings.viewer.fullscreen, "F", () => toggleFull());
    function toggleFull() {
        if (document.fullscreenElement) document.exitFullscreen();
        else root.requestFullscreen?.();
    }

    const transport = h(
        "div",
        { class: "transport", role: "toolbar", "aria-label": strings.viewer.transport },
        h("div", { class: "times" }, code, h("span", { class: "muted" }, "/"), total),
        h(
            "div",
            { class: "buttons" },
            button("toStart", strings.actions.toStart, "Home", () => app.seek(0)),
            button("stepBack", strings.actions.stepBack, "ArrowLeft", () => app.step(-1)),
            play,
            button("stepForward", strings.actions.stepForward, "ArrowRight", () => app.step(1)),
            button("toEnd", strings.actions.toEnd, "End", () => app.seek(Infinity)),
        ),
        h("div", { class: "side" }, mute, volume, h("span", { class: "select small" }, quality, icon("down", 12)), full),
    );
    root.replaceChildren(stage, h("div", { class: "scrub-box" }, scrub), transport);

    /** Where the selected clip's own picture lies in the frame, in shares; its effects' points are on that. */
    function pictureBox() {
        const selection = app.activePath() ?? state.get("selection");
        const plan = state.get("plan");
        const clip = selection?.[0] === "clips" ? state.document.clips[selection[1]] : null;
        const facts = clip && app.factsOf(clip.file);
        if (!facts?.width || !plan) return { x: 0, y: 0, width: 1, height: 1 };
        const shape = facts.width / facts.height / (plan.width / plan.height);
        const fit = clip.fit ?? "whole";
        if (fit === "stretch") return { x: 0, y: 0, width: 1, height: 1 };
        const isWide = fit === "fill" ? shape < 1 : shape > 1;
        const [width, height] = isWide ? [1, 1 / shape] : [shape, 1];
        const [fx, fy] = fit === "fill" ? [clip.focusX ?? 0.5, clip.focusY ?? 0.5] : [0.5, 0.5];
        return { x: (1 - width) * fx, y: (1 - height) * fy, width, height };
    }

    const showHandles = perFrame(() => {
        const plan = state.get("plan");
        const points = plan && !state.get("playing") ? pointsOnPicture(app, app.activePath()) : [];
        const box = pictureBox();
        const toFrame = (point, [x, y]) => (point.isInPicture ? [box.x + x * box.width, box.y + y * box.height] : [x, y]);
        const fromFrame = (point, [x, y]) => (point.isInPicture ? [(x - box.x) / box.width, (y - box.y) / box.height] : [x, y]);
        while (handles.children.length > points.length) handles.lastChild.remove();
        points.forEach((point, index) => {
            const [x, y] = toFrame(point, point.get());
            let handle = handles.children[index];
            if (!handle) {
                handle = h("button", { type: "button", class: "handle" }, icon("target", 26), h("span", {}));
                handles.append(handle);
            }
            handle.lastChild.textContent = point.label;
            handle.setAttribute("aria-label", strings.viewer.handle(point.label, Math.round(x * 100), Math.round(y * 100)));
            setStyle(handle, { left: `${x * 100}%`, top: `${y * 100}%` });
            handle.onpointerdown = (event) => {
                event.preventDefault();
                handle.focus();
                const size = frame.getBoundingClientRect();
                drag(event, {
                    move: (dx, dy) => point.set(...fromFrame(point, [x + dx / size.width, y + dy / size.height]), true),
                    end: () => state.endGesture(),
                });
            };
            handle.onkeydown = (event) => {
                const way = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] }[event.key];
                if (!way) return;
                event.preventDefault();
                event.stopPropagation();
                const step = event.shiftKey ? 0.05 : 0.005;
                const [px, py] = point.get();
                point.set(px + way[0] * step, py + way[1] * step, true);
            };
        });
    });

    const fitFrame = perFrame(() => {
        const plan = state.get("plan");
        const box = stage.getBoundingClientRect();
        const shape = plan ? plan.width / plan.height : 16 / 9;
        const inset = 24;
        const width = Math.max(80, Math.min(box.width - inset, (box.height - inset) * shape));
        setStyle(frame, { width: `${Math.floor(width)}px`, height: `${Math.floor(width / shape)}px` });
    });
    new ResizeObserver(fitFrame).observe(stage);

    function showTime() {
        const plan = state.get("plan");
        const number = player.frameAt(state.get("time"));
        code.textContent = timecode(number, player.rate);
        total.textContent = timecode(plan?.frames ?? 0, player.rate);
        scrub.max = Math.max(1, (plan?.frames ?? 2) - 1);
        scrub.value = number;
        scrub.disabled = !plan;
        setStyle(scrub, { "--fill": `${clamp((number / Math.max(1, (plan?.frames ?? 2) - 1)) * 100, 0, 100)}%` });
        scrub.setAttribute("aria-valuetext", timecode(number, player.rate));
    }

    function showPlaying() {
        const isPlaying = Boolean(state.get("playing"));
        play.classList.toggle("playing", isPlaying);
        play.title = `${isPlaying ? strings.actions.pause : strings.actions.play} (${strings.shortcuts.space})`;
        play.setAttribute("aria-label", isPlaying ? strings.actions.pause : strings.actions.play);
        root.classList.toggle("dropping", Boolean(state.get("dropped")));
    }

    function showMessage() {
        const problem = state.get("problem");
        const isEmpty = state.document.clips.length === 0;
        const text = isEmpty ? null : (problem?.error ?? state.get("pictureProblem"));
        message.hidden = !text;
        if (text) {
            message.replaceChildren(
                icon("warning", 20),
                h("div", {}, h("strong", {}, problem ? strings.viewer.cannotShow : strings.viewer.noPicture), h("span", {}, text), problem?.place ? h("code", {}, problem.place.slice(1)) : null),
                problem?.place && problem.place !== "/" ? h("button", { type: "button", class: "button", onclick: () => app.reveal(problem.place) }, strings.viewer.showPlace) : null,
            );
        } else {
            message.replaceChildren();
        }
        frame.hidden = isEmpty;
        empty.hidden = !isEmpty;
        root.classList.toggle("has-problem", Boolean(text));
        if (isEmpty && !empty.children.length) {
            empty.append(
                icon("film", 44),
                h("h2", {}, strings.empty.title),
                h("p", {}, strings.empty.text),
                h("button", { type: "button", class: "button primary", onclick: () => app.showLibrary("media") }, icon("plus", 18), strings.empty.action),
            );
        }
    }

    stage.addEventListener("click", (event) => {
        if (event.target === canvas) player.toggle();
    });
    stage.addEventListener("wheel", (event) => {
        if (!state.get("plan")) return;
        event.preventDefault();
        app.step(Math.sign(event.deltaY || event.deltaX));
    }, { passive: false });

    state.on(["plan", "time", "width"], () => {
        if (!state.get("playing")) player.refresh();
        showTime();
    });
    state.on(["plan"], () => {
        if (state.get("playing")) {
            player.pause();
            player.play();
        }
        fitFrame();
    });
    state.on(["playing", "dropped"], showPlaying);
    state.on(["plan", "time", "selection", "document", "playing", "active", "facts"], showHandles);
    state.on(["problem", "pictureProblem", "document"], showMessage);
    let busyTimer = 0;
    state.on(["isLoading"], () => {
        clearTimeout(busyTimer);
        if (state.get("isLoading")) busyTimer = setTimeout(() => (busy.hidden = false), 350);
        else busy.hidden = true;
    });
    showTime();
    showPlaying();
    showMessage();
    return { player, toggleFull, showHandles };
}
