"""The OpenAPI description: its operations, and whether an answer is as it says."""
import jsonschema
import yaml

METHODS = ("get", "put", "post", "patch", "delete", "options")


class Description:
    def __init__(self, path):
        self._root = yaml.safe_load(open(path))
        self.operations = {}  # identifier: (method, path, operation, parameters)
        for path, item in self._root["paths"].items():
            for method in METHODS:
                if method in item:
                    operation = item[method]
                    identifier = operation["operationId"]
                    assert identifier not in self.operations, f"{identifier} is there twice"
                    parameters = [self._resolve(p)
                                  for p in item.get("parameters", []) + operation.get("parameters", [])]
                    self.operations[identifier] = (method.upper(), path, operation, parameters)

    def check_itself(self):
        """Every reference leads somewhere, every schema is one, every path names its parameters."""
        self._walk(self._root)
        for schema in self._root["components"]["schemas"].values():
            jsonschema.Draft202012Validator.check_schema(schema)
        for identifier, (_, path, operation, parameters) in self.operations.items():
            named = {p["name"] for p in parameters if p["in"] == "path"}
            assert named == {part.split("}")[0] for part in path.split("{")[1:]}, f"{identifier}: path"
            assert operation["summary"] and operation["tags"] and operation["responses"], identifier
            body = operation.get("requestBody")
            for content in (body or {}).get("content", {}).values():
                if "example" in content:
                    self._validate(content["schema"], content["example"], f"{identifier}: example")

    def body_of(self, identifier):
        """The example of a request's JSON body, or None."""
        body = self.operations[identifier][2].get("requestBody")
        return body and body["content"].get("application/json", {}).get("example")

    def has_json_body(self, identifier):
        return "application/json" in self.operations[identifier][2].get("requestBody", {}).get("content", {})

    def check_answer(self, identifier, status, headers, body):
        """Raises unless such an answer is described. `body` None = it has not been read to its end."""
        responses = self.operations[identifier][2]["responses"]
        where = f"{identifier}: {status}"
        assert str(status) in responses or (status >= 400 and "default" in responses), f"{where} is not described"
        response = self._resolve(responses.get(str(status), responses.get("default")))
        for name in response.get("headers", {}):
            assert name.lower() in headers, f"{where}: header {name} is missing"
        content = response.get("content")
        if content is None:
            assert not body, f"{where}: a body that is not described"
            return
        kind = headers.get("content-type", "").split(";")[0]
        assert kind in content, f"{where}: content type {kind!r} is not described"
        if kind == "application/json":
            self._validate(content[kind]["schema"], body, where)

    def _validate(self, schema, value, where):
        # Paired with the whole document, so that references within it are found.
        whole = {"components": self._root["components"], "allOf": [schema]}
        errors = list(jsonschema.Draft202012Validator(whole).iter_errors(value))
        assert not errors, f"{where}: " + "; ".join(
            f"{'/'.join(map(str, e.absolute_path))}: {e.message}" for e in errors)

    def _resolve(self, thing):
        while isinstance(thing, dict) and "$ref" in thing:
            reference = thing["$ref"]
            thing = self._root
            for part in reference.removeprefix("#/").split("/"):
                thing = thing[part]
        return thing

    def _walk(self, thing):
        if isinstance(thing, dict):
            self._resolve(thing)
            for value in thing.values():
                self._walk(value)
        elif isinstance(thing, list):
            for value in thing:
                self._walk(value)
