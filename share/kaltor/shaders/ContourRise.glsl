// The second picture rises like water over the first one's landscape: dark places are flooded first.

uniform float foam; // = 0.05; // 0 to 0.3: width of the bright shore
uniform vec3 foam_color; // = vec3(0.95, 0.98, 1.0); // colour of the shore
uniform float relief; // = 0.75; // 0 to 1: how much brightness counts, as against the height in the frame

vec4 transition(vec2 uv) {
    vec4 first = getFromColor(uv);
    float reach = 0.004;
    vec3 sum = getFromColor(uv + vec2(reach, 0.0)).rgb + getFromColor(uv - vec2(reach, 0.0)).rgb +
               getFromColor(uv + vec2(0.0, reach * ratio)).rgb + getFromColor(uv - vec2(0.0, reach * ratio)).rgb;
    float luma = dot((sum + 2.0 * first.rgb) / 6.0, vec3(0.2126, 0.7152, 0.0722));
    float height = mix(uv.y, luma, relief) + 0.015 * sin(uv.x * 40.0 + progress * 12.0) * (1.0 - luma);
    float level = mix(-0.03 - foam, 1.03 + foam, progress);
    float depth = level - height;
    float flooded = smoothstep(-0.01, 0.01, depth);
    vec4 color = mix(first, getToColor(uv + vec2(0.0, 0.01) * (1.0 - flooded)), flooded);
    float shore = foam > 0.0 ? max(0.0, 1.0 - abs(depth) / foam) : 0.0;
    color.rgb = mix(color.rgb, foam_color, shore * shore * 0.8);
    return color;
}
